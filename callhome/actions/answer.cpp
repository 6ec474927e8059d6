#include <cstdio>
#include <cstring>

#include "callhome/handlers.h"

namespace {

constexpr int accepted = 1;
constexpr int not_accepted = 0;

int refuse(const char* why) {
    std::puts(why);
    return not_accepted;
}

}  // namespace

int callhome_util_cli_input_verify(const char* answer) {
    if (answer == nullptr || *answer == '\0') {
        return not_accepted;
    }
    if (std::strpbrk(answer, " \t\n") != nullptr) {
        return refuse("Input should not contain any whitespace");
    }
    if ((answer[0] != 'y' && answer[0] != 'n') || answer[1] != '\0') {
        return refuse("Please answer with \"y\" or \"n\"");
    }
    return accepted;
}
