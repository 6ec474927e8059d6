// The tables in the service's texts about diagnostic signatures.
#pragma once

namespace callhome::library {

// Each prints the rows from `text` on, down to the end of the text or the first row that its line feed does
// not end at or behind the start of its last column.
void print_downloaded_signatures(const char* text);
void print_ds_failure_table(const char* text);
void print_run_time_table(const char* text);
void print_download_table(const char* text);

}  // namespace callhome::library
