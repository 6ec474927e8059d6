// Child processes of a measurement.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace callhome::bench {

enum class Placement {
    one_core,  // both ends of an exchange on the same core
    free,      // where the kernel puts them
};

// Puts the calling process, and what it starts from now on, where a measurement wants it.
void place(Placement placement);

// Starts a program with its output thrown away; throws std::system_error when that fails.
pid_t start(const std::vector<std::string>& arguments);

// Starts a server and waits until it accepts connections, which it tells by a byte on this descriptor.
inline constexpr int ready_descriptor = 3;
pid_t start_server(const std::vector<std::string>& arguments);

// Waits for the end of a process; throws std::runtime_error when its status is not 0.
void finish(pid_t process);

// Starts a program and waits for its end.
void run(const std::vector<std::string>& arguments);

}  // namespace callhome::bench
