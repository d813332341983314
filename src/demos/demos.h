// The demonstrations, in the order in which a run shows them. Each takes its display flag: lines
// shown with a false flag stay hidden, and many closing lines are shown whatever the flag. A call
// to the server that fails ends the process with status 0; an error of a single point is a line.
#pragma once

void get_system_time_demo(bool display);
void get_database_demo(bool display);
void decode_encode_time_demo(bool display);

void insert_node_point_demo(bool display);
void get_id_byname_demo(bool display);

void write_realvalue_byid_demo(bool display);
void read_realvalue_byid_demo(bool display);
void read_realvalue_byname_demo(bool display);

void write_hisvalue_byid_demo(bool display);
void get_hisvalue_byid_demo(bool display);
void write_hisvalue_byname_demo(bool display);
void get_hisvalue_byname_demo(bool display);

void get_statvalue_byid_demo(bool display);
void get_statvalue_byname_demo(bool display);

void set_static_info_byid_demo(bool display);
void set_node_static_info_byname_demo(bool display);
void get_node_static_info_byname_demo(bool display);
void set_static_info_byname_demo(bool display);
void get_static_info_byid_demo(bool display);
void get_static_info_byname_demo(bool display);

void write_cache_byid_demo(bool display);
void write_cache_one_byid_demo(bool display);

void write_snap_byid_demo(bool display);
void get_snap_byid_demo(bool display);
void get_snap_byname_demo(bool display);

// Writes a value to every test point once a second, reconnecting for ever. Never returns.
[[noreturn]] void write_realvalue_every_second(bool display);

void delete_point_node_demo(bool display);
