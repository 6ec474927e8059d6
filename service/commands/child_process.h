// Programs that this service starts: with nothing of its own.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace callhome::service {

// Closes what it holds.
class OwnedDescriptor {
 public:
    explicit OwnedDescriptor(int number = -1) : number_(number) {}
    ~OwnedDescriptor();
    OwnedDescriptor(OwnedDescriptor&& other) noexcept : number_(other.release()) {}
    OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }

    int number() const { return number_; }
    int release() { return std::exchange(number_, -1); }

 private:
    int number_;
};

struct UserIds {
    uid_t user;
    gid_t group;
};

struct ChildPlan {
    std::filesystem::path program;
    std::vector<std::string> arguments;  // behind the program's name
    std::optional<UserIds> user;         // whom it runs as; nothing for this process's user
};

struct Child {
    pid_t id = -1;            // of the process and of its group
    OwnedDescriptor process;  // readable when the process has ended
    OwnedDescriptor output;   // of both streams; does not block
    OwnedDescriptor error;    // holds an errno (int) when the program could not be executed; does not block
};

// The child is a process group of its own: with an empty environment, no input, no other descriptor, no
// group but that of its user, at the root folder. It ends with this process, and can neither gain rights
// nor write files. Throws std::system_error when there can be no process.
Child start_child(const ChildPlan& plan);

}  // namespace callhome::service
