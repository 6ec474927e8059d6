// Standard output through filters and the pager, in a process of its own: a handler prints as it always
// does.
#pragma once

#include <sys/types.h>

#include <vector>

#include "filter.h"

namespace callhome::shell {

class OutputPipe {
 public:
    // From now on, what is written to standard output goes through the filters. Throws std::system_error.
    OutputPipe(const std::vector<FilterSpec>& filters, bool with_pager);
    OutputPipe(const OutputPipe&) = delete;
    OutputPipe& operator=(const OutputPipe&) = delete;
    // Standard output is itself again once everything has been shown. Also happens when the process
    // exits inside a handler.
    ~OutputPipe();

    // True once some output could not be filtered, or not be written where it should go. A reader who
    // has left, or a person at the pager, has lost nothing.
    static bool has_lost_output();

 private:
    static void close_at_exit();
    void close();

    int real_output_ = -1;
    pid_t child_ = -1;
};

}  // namespace callhome::shell
