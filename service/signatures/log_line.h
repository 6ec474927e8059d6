// Log lines as patterns see them: "program[123]: what happened".
#pragma once

#include <functional>
#include <string_view>

namespace callhome::service {

using TakeLine = std::function<void(std::string_view line)>;

// Without what syslog(3) puts before a line: the priority "<13>", and the time "Nov  1 08:00:00 " behind
// it.
std::string_view without_syslog_head(std::string_view line);

// Calls with each line of the text; empty ones are left out, as are line ends and a NUL behind the text.
void each_line(std::string_view text, const TakeLine& take);

}  // namespace callhome::service
