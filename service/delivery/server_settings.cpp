#include "delivery/server_settings.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <functional>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "files/bounded_file.h"
#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr std::size_t longest_file = 4096;
constexpr std::size_t longest_value = 512;  // as much as a server needs to take of a user or secret
constexpr std::string_view mail_ending = ".mail";
constexpr std::string_view proxy_ending = ".proxy";
constexpr mode_t of_others = S_IRWXG | S_IRWXO;

// Takes the value of a setting; false when it is not one that the setting can have.
using TakeValue = std::function<bool(std::string value)>;

struct Setting {
    std::string_view name;
    TakeValue take;
};

struct EncryptionWord {
    std::string_view word;
    Encryption encryption;
};

constexpr std::array encryption_words{
    EncryptionWord{"offered", Encryption::offered},
    EncryptionWord{"required", Encryption::required},
    EncryptionWord{"on-connect", Encryption::on_connect},
    EncryptionWord{"off", Encryption::off},
};

// The secret is in the file: nobody else may read it, or have another name for it.
std::string why_unsafe(const FileContent& content) {
    if (content.owner != ::geteuid()) {
        return "it does not belong to the user of the service";
    }
    if ((content.mode & of_others) != 0) {
        return "others than its owner have rights to it; make its mode 0600";
    }
    return content.links > 1 ? "it has more than one name" : "";
}

bool is_value(std::string_view value) {
    return !value.empty() && value.size() <= longest_value &&
           std::none_of(value.begin(), value.end(),
                        [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; });
}

TakeValue text_into(std::string& place) {
    return [&place](std::string value) {
        place = std::move(value);
        return true;
    };
}

std::string take_line(std::string_view line, const std::vector<Setting>& settings,
                      std::set<std::string_view>& seen) {
    const std::size_t end = std::min(line.find(' '), line.size());
    const auto setting = std::ranges::find(settings, line.substr(0, end), &Setting::name);
    if (setting == settings.end()) {
        return "this is not a setting";
    }
    if (!seen.insert(setting->name).second) {
        return fmt::format("'{}' stands here for the second time", setting->name);
    }
    const std::string_view value = line.substr(std::min(end + 1, line.size()));
    const bool taken = is_value(value) && setting->take(std::string(value));
    return taken ? "" : fmt::format("'{}' cannot have this value", setting->name);
}

// Lines "name value"; the value is the rest of the line as it stands. What is wrong is told by its line's
// number: the line itself may be the secret.
std::string take_lines(std::string_view text, const std::vector<Setting>& settings) {
    std::set<std::string_view> seen;
    std::size_t number = 1;
    for (std::size_t begin = 0, end = 0; begin < text.size(); begin = end + 1, ++number) {
        end = std::min(text.find('\n', begin), text.size());
        const std::string_view line = text.substr(begin, end - begin);
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (const std::string why = take_line(line, settings, seen); !why.empty()) {
            return fmt::format("line {}: {}", number, why);
        }
    }
    return "";
}

std::filesystem::path file_of(const std::filesystem::path& folder, const std::string& host,
                              std::string_view ending) {
    return folder / (host + std::string(ending));
}

// Empty when the settings were taken, or when there are none.
std::string read_settings(const std::filesystem::path& file, const std::vector<Setting>& settings) {
    const auto read = read_file(file, longest_file);
    if (const auto* unread = std::get_if<UnreadFile>(&read)) {
        return unread->fault == FileFault::not_there ? "" : unread->why;
    }
    const auto& content = std::get<FileContent>(read);
    std::string why = why_unsafe(content);
    if (why.empty()) {
        why = take_lines(content.bytes, settings);
    }
    return why.empty() ? "" : file.string() + ": " + why;
}

std::vector<Setting> login_settings(ServerLogin& login) {
    return {{"user", text_into(login.user)}, {"secret", text_into(login.secret)}};
}

std::string why_no_login(const ServerLogin& login) {
    if (login.user.empty() == login.secret.empty()) {
        return "";
    }
    return login.user.empty() ? "there is a secret without a user" : "there is a user without a secret";
}

UnusableSettings unusable(std::string_view whose, const std::string& why) {
    return {clean_line(fmt::format("the settings of this {} do not count: {}", whose, why))};
}

}  // namespace

std::variant<MailServerSettings, UnusableSettings> mail_server_settings(const std::filesystem::path& folder,
                                                                        const std::string& host) {
    MailServerSettings server;
    if (folder.empty()) {
        return server;
    }
    std::string authorities;
    std::vector<Setting> settings = login_settings(server.login);
    settings.push_back({"authorities", text_into(authorities)});
    settings.push_back({"certificate-name", text_into(server.certificate_name)});
    settings.push_back({"encryption", [&server](const std::string& value) {
                            const auto* row =
                                std::ranges::find(encryption_words, value, &EncryptionWord::word);
                            if (row == encryption_words.end()) {
                                return false;
                            }
                            server.encryption = row->encryption;
                            return true;
                        }});
    server.file = file_of(folder, host, mail_ending);
    std::string why = read_settings(server.file, settings);
    if (why.empty()) {
        why = why_no_login(server.login);
    }
    if (why.empty() && !server.login.user.empty() && server.encryption == Encryption::off) {
        why = "a login is not sent in the clear; leave 'encryption off' out";
    }
    if (!why.empty()) {
        return unusable("mail server", why);
    }
    server.authorities = authorities;
    return server;
}

std::variant<ProxySettings, UnusableSettings> proxy_settings(const std::filesystem::path& folder,
                                                             const std::string& host) {
    ProxySettings proxy;
    if (folder.empty()) {
        return proxy;
    }
    std::string why = read_settings(file_of(folder, host, proxy_ending), login_settings(proxy.login));
    if (why.empty()) {
        why = why_no_login(proxy.login);
    }
    if (why.empty() && proxy.login.user.find(':') != std::string::npos) {
        why = "a user of a proxy has no colon in its name";
    }
    if (!why.empty()) {
        return unusable("proxy", why);
    }
    return proxy;
}

}  // namespace callhome::service
