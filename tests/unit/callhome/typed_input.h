// Standard input as a user or a script gives it.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace callhome::test {

enum class InputFrom {
    pipe,
    terminal,      // lines, echoed, as a shell finds it
    raw_terminal,  // keys as they come
};

// `typed` takes the place of standard input for as long as this lives. A pipe ends behind it, a terminal
// waits for more.
class TypedInput {
 public:
    explicit TypedInput(std::string_view typed, InputFrom from = InputFrom::pipe);
    TypedInput(const TypedInput&) = delete;
    TypedInput& operator=(const TypedInput&) = delete;
    ~TypedInput();

    void type(std::string_view more) const;
    // What nobody has read yet.
    std::string rest();

 private:
    std::FILE* kept_;
    int reader_ = -1;
    int writer_ = -1;
};

}  // namespace callhome::test
