// Versions of this software as signatures require them: numbers with points between them.
#pragma once

#include <string_view>

namespace callhome::service {

// "1.2", "1.10.3": not empty, at most nine digits a number.
bool is_software_version(std::string_view text);

// Whether `running` is `required` or newer; missing numbers count as 0. Nothing required is always met.
bool meets_version(std::string_view running, std::string_view required);

}  // namespace callhome::service
