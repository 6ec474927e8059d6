// The real service and the real shell, in a folder that goes with them.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "random_configuration.h"

namespace callhome::test {

class Folder {
 public:
    Folder();
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::filesystem::path operator/(const char* name) const { return path_ / name; }

 private:
    std::filesystem::path path_;
};

// A service of its own with an empty configuration.
class Service {
 public:
    explicit Service(std::filesystem::path folder);
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    void start();
    void kill();  // without a chance to tidy up

    // Makes a change through the socket; its status.
    std::int32_t make(Change change) const;

    struct Said {
        int status;  // of the shell
        std::string out;
        std::string err;
    };
    // Runs the shell with these options.
    Said shell(const std::vector<std::string>& options) const;

    std::filesystem::path database() const { return folder_ / "state" / "callhome.db"; }

 private:
    std::filesystem::path socket() const { return folder_ / "service.sock"; }

    std::filesystem::path folder_;
    pid_t process_ = -1;
};

}  // namespace callhome::test
