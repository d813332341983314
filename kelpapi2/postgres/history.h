// Reads what a history query asks for in one transaction that sees one moment of the server.
#pragma once

#include "postgres/session.h"
#include "store/history.h"

namespace kelp::postgres {

// Reads all rows, page by page, so that neither side ever holds much of the answer and the server
// is never silent for long. To be called outside a transaction.
std::unique_ptr<HistoryRows> read_history(Session &session, const HistoryQuery &query);

}  // namespace kelp::postgres
