#include "service_location.h"

#include <pwd.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace callhome::platform {
namespace {

namespace fs = std::filesystem;

constexpr mode_t private_folder = 0700;
constexpr const char* service_name = "callhome";
constexpr const char* socket_name = "callhomed.sock";
constexpr const char* program_name = "callhomed";

// The folder that an environment variable names; empty when it names none. Relative paths do not
// count: they would mean another folder for each place the shell is started in.
fs::path folder_from(const char* variable) {
    const char* value = std::getenv(variable);
    fs::path folder = value == nullptr ? "" : value;
    return folder.is_absolute() ? folder : fs::path();
}

fs::path home_folder() {
    if (fs::path home = folder_from("HOME"); !home.empty()) {
        return home;
    }
    const passwd* user = ::getpwuid(::geteuid());
    fs::path home = user == nullptr || user->pw_dir == nullptr ? "" : user->pw_dir;
    return home.is_absolute() ? home : fs::path();
}

bool is_own_folder(const fs::path& path) {
    struct stat found {};
    return ::lstat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode) && found.st_uid == ::geteuid();
}

// Makes `folder` and those above it, for this user alone. 0, or the error number.
int make_folder(const fs::path& folder) {
    if (::mkdir(folder.c_str(), private_folder) == 0 || errno == EEXIST) {
        return 0;
    }
    if (errno != ENOENT || !folder.has_relative_path()) {
        return errno;
    }
    const int error = make_folder(folder.parent_path());
    if (error != 0) {
        return error;
    }
    return ::mkdir(folder.c_str(), private_folder) == 0 || errno == EEXIST ? 0 : errno;
}

fs::path own_state_folder() {
    fs::path parent = folder_from("XDG_STATE_HOME");
    if (parent.empty()) {
        const fs::path home = home_folder();
        if (home.empty()) {
            throw std::runtime_error(
                "there is no folder for the call-home service's data; set HOME or XDG_STATE_HOME, "
                "or name the socket of a running service with --socket");
        }
        parent = home / ".local" / "state";
    }
    fs::path folder = parent / service_name;
    const int error = make_folder(folder);
    if (error != 0 || !is_own_folder(folder)) {
        const std::string why = error != 0 ? ::strerrordesc_np(error) : "it is not a folder of yours";
        throw std::runtime_error("the call-home service cannot keep its data in " + folder.native() + " (" +
                                 why + "); set XDG_STATE_HOME to a folder that can be written");
    }
    return folder;
}

// Where the socket of the user's own service stands: the folder that goes with the login session, or
// the state folder where there is no such.
fs::path own_socket_folder(const fs::path& state_folder) {
    const fs::path session = folder_from("XDG_RUNTIME_DIR");
    if (session.empty() || !is_own_folder(session)) {
        return state_folder;
    }
    fs::path folder = session / service_name;
    return make_folder(folder) == 0 && is_own_folder(folder) ? folder : state_folder;
}

void check_length(const fs::path& socket, const char* remedy) {
    constexpr std::size_t longest = sizeof(sockaddr_un::sun_path) - 1;
    if (socket.native().size() > longest) {
        throw std::runtime_error("the path of the call-home service's socket is longer than " +
                                 std::to_string(longest) + " characters: " + socket.native() + "; " +
                                 remedy);
    }
}

}  // namespace

ServiceLocation find_service_beside(const fs::path& system_socket_path,
                                    const std::optional<std::string>& socket_option,
                                    const fs::path& program_folder) {
    if (socket_option) {
        if (socket_option->empty()) {
            throw std::runtime_error("--socket needs the path of the call-home service's socket");
        }
        check_length(*socket_option, "name it by a shorter path");
        return {.socket = *socket_option, .program = {}, .state_folder = {}};
    }
    std::error_code error;
    if (fs::is_socket(system_socket_path, error)) {
        return {.socket = system_socket_path, .program = {}, .state_folder = {}};
    }
    const fs::path state_folder = own_state_folder();
    const fs::path socket = own_socket_folder(state_folder) / socket_name;
    check_length(socket, "set XDG_RUNTIME_DIR to a folder of your own with a shorter path");
    return {.socket = socket,
            .program = fs::absolute(program_folder) / program_name,
            .state_folder = state_folder};
}

ServiceLocation find_service(const std::optional<std::string>& socket_option,
                             const fs::path& program_folder) {
    return find_service_beside(system_socket, socket_option, program_folder);
}

}  // namespace callhome::platform
