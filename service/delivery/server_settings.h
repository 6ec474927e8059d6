// What the operator lays down for one mail server or proxy beyond what can be typed: how it is reached
// safely, and with which login. One file a server, since two servers may differ in all of it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <variant>

namespace callhome::service {

// When the conversation with a mail server is encrypted.
enum class Encryption : std::uint8_t {
    as_known,    // when the server offers it; always, once it has
    offered,     // when the server offers it; else in the clear
    required,    // always, by STARTTLS
    on_connect,  // always, from the first byte
    off,
};

struct ServerLogin {
    std::string user;  // empty for none
    std::string secret;
};

struct MailServerSettings {
    Encryption encryption = Encryption::as_known;
    std::filesystem::path authorities;  // PEM file of who vouches for it; empty for those of the service
    std::string certificate_name;       // the name that its certificate has to bear; empty for its host
    ServerLogin login;
    std::filesystem::path file;  // where all this stands or could stand
};

struct ProxySettings {
    ServerLogin login;
};

// Why a file of settings does not count, as one line. What is in the file is never part of it.
struct UnusableSettings {
    std::string why;
};

// The settings in `folder` for a host as it is configured; the defaults where there is no file. A file that
// is there and cannot be believed is no reason to do without what it asks for.
std::variant<MailServerSettings, UnusableSettings> mail_server_settings(const std::filesystem::path& folder,
                                                                        const std::string& host);
std::variant<ProxySettings, UnusableSettings> proxy_settings(const std::filesystem::path& folder,
                                                             const std::string& host);

}  // namespace callhome::service
