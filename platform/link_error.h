// Why an exchange with the service failed: an error number for errno, and words for the operator.
#pragma once

#include <stdexcept>
#include <string>

namespace callhome::platform {

class LinkError : public std::runtime_error {
 public:
    LinkError(int number, const std::string& why) : std::runtime_error(why), number_(number) {}
    int number() const { return number_; }

 private:
    int number_;
};

}  // namespace callhome::platform
