// What the service tells of itself.
#include <fmt/format.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>
#include <system_error>

#include "protocol/records/signature.h"
#include "requests/functions.h"
#include "requests/info_lines.h"
#include "signatures/signature_tables.h"

namespace callhome::service {
namespace {

using protocol::DeliveryState;
using protocol::MessageCounters;
using protocol::ResultCode;
using protocol::ServiceInfo;
using protocol::Status;

std::string on_or_off(bool is_on) {
    return is_on ? "enabled" : "disabled";
}

std::string or_none(const std::string& text) {
    return text.empty() ? "none" : text;
}

// Each reader prints the text as a format: what is to be a percent sign stands twice.
std::string with_doubled_percent_signs(std::string_view text) {
    std::string doubled;
    for (const char letter : text) {
        doubled.append(letter == '%' ? 2 : 1, letter);
    }
    return doubled;
}

std::string version_text(const Call& call) {
    return line_of("Service", "callhomed " + call.facts.version) +
           line_of("Database schema",
                   static_cast<std::uint64_t>(
                       call.facts.database.connection().execAndGet("PRAGMA user_version").getInt())) +
           line_of("Compiler", __VERSION__);
}

std::string state_text(const Call& call) {
    const SignatureSettings& signatures = call.signatures.catalogue().settings();
    std::size_t installed = 0;
    for (const auto& [id, entry] : call.signatures.catalogue().entries()) {
        installed += entry.state == SignatureState::installed ? 1 : 0;
    }
    const StorageHealth& health = call.facts.database.health();
    return line_of("State", health.is_degraded() ? fmt::format("degraded since {}: {}",
                                                               table_time(health.since()), health.reason())
                                                 : "in order") +
           line_of("Process", static_cast<std::uint64_t>(::getpid())) +
           line_of("User", static_cast<std::uint64_t>(::geteuid())) +
           line_of("Running since", table_time(call.facts.started_at)) +
           line_of("Socket", or_none(call.facts.socket.string())) +
           line_of("Call home", on_or_off(call.configuration().enabled)) +
           line_of("Diagnostic signatures", on_or_off(signatures.active)) +
           line_of("Signatures loaded", call.signatures.catalogue().entries().size()) +
           line_of("Signatures installed", installed);
}

std::string connections_text(const Call& call) {
    const ClientFacts clients = call.facts.clients ? call.facts.clients() : ClientFacts{};
    std::size_t all = 0;
    std::string users;
    for (const auto& [user, connections] : clients.connections) {
        all += connections;
        users += line_of(fmt::format("  of user {}", user), connections);
    }
    return line_of("Connections", all) + users + line_of("Most of a user", clients.most_of_a_user) +
           line_of("Most in all", clients.most);
}

std::string counter_line(std::string_view name, const MessageStatistics::Counter& counter) {
    return line_of(name, fmt::format("{} since {}", counter.count, table_time(counter.since)));
}

std::string queue_text(const Call& call) {
    const MessageStatistics& statistics = call.facts.statistics;
    return line_of("Messages kept", statistics.messages()) +
           line_of("Deliveries waiting", statistics.deliveries(DeliveryState::waiting)) +
           line_of("Deliveries done", statistics.deliveries(DeliveryState::delivered)) +
           line_of("Deliveries given up", statistics.deliveries(DeliveryState::failed)) +
           line_of("Next attempt", table_time(statistics.next_attempt_at())) +
           line_of("Duplicates not sent", call.messages.duplicates()) +
           counter_line("Sent", statistics.of(DeliveryState::delivered)) +
           counter_line("Failed", statistics.of(DeliveryState::failed)) +
           line_of("Dropped from a full queue", statistics.dropped());
}

std::string size_text(const std::filesystem::path& file) {
    std::error_code error;
    const auto size = std::filesystem::file_size(file, error);
    return error ? "none" : fmt::format("{} bytes", size);
}

// Of the disk that the store is on.
std::string disk_text(const std::filesystem::path& file) {
    constexpr unsigned whole = 100;
    struct statvfs disk {};
    if (::statvfs(file.c_str(), &disk) != 0 || disk.f_blocks == 0) {
        return "unknown";
    }
    return fmt::format("{}% free", disk.f_bavail * whole / disk.f_blocks);
}

std::string store_text(const Call& call) {
    const std::filesystem::path& file = call.facts.database_file;
    SQLite::Database& connection = call.facts.database.connection();
    return line_of("File", or_none(file.string())) + line_of("Size", size_text(file)) +
           line_of("Write-ahead log", size_text(file.string() + "-wal")) +
           line_of("Free pages", connection.execAndGet("PRAGMA freelist_count").getUInt()) +
           line_of("Disk", disk_text(file)) + line_of("SQLite", SQLite::getLibVersion());
}

std::string memory_text(const Call& /*call*/) {
    return process_memory_text();
}

std::string configuration_text(const Call& call) {
    const Configuration& configuration = call.configuration();
    std::size_t addresses = 0;
    for (const Profile& profile : configuration.profiles) {
        addresses += profile.email_addresses.size() + profile.urls.size();
    }
    const HttpProxy& proxy = configuration.http.proxy;
    const SignatureSettings& signatures = call.signatures.catalogue().settings();
    return line_of("Call home", on_or_off(configuration.enabled)) +
           line_of("Distribution", on_or_off(configuration.distribution)) +
           line_of("Duplicate throttling", on_or_off(configuration.duplicate_throttle)) +
           line_of("Periodic inventory", on_or_off(configuration.periodic_inventory.notification)) +
           line_of("Destination profiles", configuration.profiles.size()) +
           line_of("Addresses", addresses) + line_of("Mail servers", configuration.mail_servers.size()) +
           line_of("HTTP proxy", or_none(proxy.enabled ? proxy.server : "")) +
           line_of("User commands", configuration.user_commands.size()) +
           line_of("Diagnostic signatures", on_or_off(signatures.active)) +
           line_of("Signature profile", or_none(signatures.profile)) +
           line_of("Signature variables", signatures.environment.size());
}

struct Library {
    std::string_view name;
    std::string_view licence;
};

// What callhomed is linked with or made of.
constexpr std::array libraries{
    Library{"Asio", "Boost Software License 1.0"},
    Library{"CLI11", "3-clause BSD"},
    Library{"fmt", "MIT"},
    Library{"GLib", "LGPL 2.1 or later"},
    Library{"GMime", "LGPL 2.1 or later"},
    Library{"libcurl", "curl (MIT-like)"},
    Library{"libsystemd", "LGPL 2.1 or later"},
    Library{"libxml2", "MIT"},
    Library{"OpenSSL", "Apache 2.0"},
    Library{"RE2", "3-clause BSD"},
    Library{"spdlog", "MIT"},
    Library{"SQLite", "public domain"},
    Library{"SQLiteCpp", "MIT"},
};

std::string licences_text(const Call& /*call*/) {
    std::string text;
    for (const Library& library : libraries) {
        text += line_of(library.name, library.licence);
    }
    return text;
}

struct InfoRow {
    ServiceInfo type;
    std::string (*text)(const Call& call);
};

constexpr std::array info_rows{
    InfoRow{ServiceInfo::version, version_text},
    InfoRow{ServiceInfo::state, state_text},
    InfoRow{ServiceInfo::connections, connections_text},
    InfoRow{ServiceInfo::queue, queue_text},
    InfoRow{ServiceInfo::store, store_text},
    InfoRow{ServiceInfo::memory, memory_text},
    InfoRow{ServiceInfo::configuration, configuration_text},
    InfoRow{ServiceInfo::licences, licences_text},
};

struct CounterRow {
    MessageCounters counters;
    DeliveryState state;
};

constexpr std::array counter_rows{
    CounterRow{MessageCounters::sent, DeliveryState::delivered},
    CounterRow{MessageCounters::failed, DeliveryState::failed},
};

}  // namespace

Outcome get_service_info(Call& call, const protocol::ServiceInfoRequest& record) {
    const auto* row =
        std::ranges::find(info_rows, static_cast<ServiceInfo>(record.info_type), &InfoRow::type);
    if (row == info_rows.end()) {
        return Status::malformed_request;
    }
    call.reply.set_text(with_doubled_percent_signs(row->text(call)));
    return Status::ok;
}

Outcome clear_message_statistics(Call& call, const protocol::MsgStatsClearRecord& record) {
    protocol::MsgStatsClearRecord answer = record;
    const auto* row = std::ranges::find(counter_rows, static_cast<MessageCounters>(record.counters),
                                        &CounterRow::counters);
    if (row == counter_rows.end()) {
        answer.status = static_cast<std::uint32_t>(ResultCode::parameter_invalid);
    } else {
        call.facts.statistics.clear(row->state);
        answer.status = static_cast<std::uint32_t>(ResultCode::ok);
    }
    call.reply.set_record(answer);
    return Status::ok;
}

}  // namespace callhome::service
