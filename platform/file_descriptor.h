// An open file that is closed with its owner.
#pragma once

#include <unistd.h>

#include <utility>

namespace callhome::platform {

class FileDescriptor {
 public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number) : number_(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { reset(); }

    int get() const { return number_; }
    bool is_open() const { return number_ >= 0; }
    void reset() {
        if (is_open()) {
            ::close(std::exchange(number_, -1));
        }
    }

 private:
    int number_ = -1;
};

}  // namespace callhome::platform
