// What a commit of the pending configuration would change.
#pragma once

#include <string>
#include <vector>

namespace callhome::shell {

// "-" and a line that only `before` has, "+" and one that only `after` has, in the order of the two. Takes
// time in proportion to the number of lines.
std::vector<std::string> difference(const std::vector<std::string>& before,
                                    const std::vector<std::string>& after);

}  // namespace callhome::shell
