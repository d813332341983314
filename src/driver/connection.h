// The one connection to the server, kept in argument_.handle.
#pragma once

// Opens the connection; ends the process with status 0 if that fails.
void connect_demo(bool display);

// Returns once the connection is usable, replacing a broken one; retries every 5 seconds for ever.
void connect_until_success(bool display);

// Closes the connection.
void close_kelp(bool display);
