// The tables of the queue, and the figures that the database keeps of them by itself.
#pragma once

#include <SQLiteCpp/SQLiteCpp.h>

namespace callhome::service {

// Creates what is missing; what an older version has left is taken up as it is.
void create_queue_tables(SQLite::Database& connection);

}  // namespace callhome::service
