#include "requests/memory_statistics.h"

#include <fmt/format.h>
#include <malloc.h>
#include <sqlite3.h>

#include <vector>

#include "requests/info_lines.h"

namespace callhome::service {
namespace {

using protocol::DeliveryState;

struct Part {
    std::string name;
    std::size_t entries = 0;
    std::size_t bytes = 0;  // of its texts and records
};

struct Group {
    Part whole;
    std::vector<Part> parts;
};

Group sum_of(std::string name, std::vector<Part> parts) {
    Group group{{std::move(name)}, std::move(parts)};
    for (const Part& part : group.parts) {
        group.whole.entries += part.entries;
        group.whole.bytes += part.bytes;
    }
    return group;
}

// Adds each entry of a list with the text that it holds.
template <typename List, typename TextSize>
void add(Part& part, const List& list, TextSize text_size) {
    for (const auto& entry : list) {
        ++part.entries;
        part.bytes += sizeof entry + text_size(entry);
    }
}

std::vector<Part> parts_of(const SharedConfiguration& configuration) {
    Part profiles{"profiles"};
    Part addresses{"addresses"};
    Part groups{"alert groups"};
    Part servers{"mail servers"};
    Part commands{"user commands"};
    const auto address_size = [](const ProfileAddress& entry) { return entry.address.size(); };
    add(profiles, configuration.profiles, [](const Profile& entry) { return entry.name.size(); });
    for (const Profile& profile : configuration.profiles) {
        add(addresses, profile.email_addresses, address_size);
        add(addresses, profile.urls, address_size);
        add(groups, profile.alert_groups, [](const AlertGroup& entry) { return entry.name.size(); });
    }
    add(servers, configuration.mail_servers,
        [](const MailServer& entry) { return entry.host.size() + entry.vrf_name.size(); });
    add(commands, configuration.user_commands,
        [](const UserCommand& entry) { return entry.group.size() + entry.command.size(); });
    return {profiles, addresses, groups, servers, commands};
}

Group configuration_group(const Call& call) {
    std::vector<Part> parts = parts_of(call.configuration());
    Part contact{"contact items"};
    add(contact, call.configuration().contact,
        [](const auto& entry) { return entry.first.size() + entry.second.size(); });
    parts.push_back(contact);
    return sum_of("Configuration", std::move(parts));
}

std::size_t number_from(SQLite::Database& connection, const std::string& query) {
    return static_cast<std::size_t>(connection.execAndGet(query).getInt64());
}

Group queue_group(const Call& call) {
    SQLite::Database& connection = call.facts.database.connection();
    const MessageStatistics& statistics = call.facts.statistics;
    Group group{{"Messages", statistics.messages(),
                 number_from(connection, "SELECT ifnull(sum(size), 0) FROM messages")},
                {}};
    group.parts = {{"deliveries waiting", statistics.deliveries(DeliveryState::waiting)},
                   {"deliveries done", statistics.deliveries(DeliveryState::delivered)},
                   {"deliveries given up", statistics.deliveries(DeliveryState::failed)}};
    return group;
}

Group catalogue_group(const Call& call) {
    Group group{{"Signatures"}, {}};
    for (const auto& [id, entry] : call.signatures.catalogue().entries()) {
        const std::size_t size = call.signatures.catalogue().xml_of(id).size();
        group.parts.push_back({fmt::format("signature {}", id), 1, size});
        group.whole.bytes += size;
    }
    group.whole.entries = group.parts.size();
    return group;
}

Group traces_group(const Call& call) {
    const Traces& traces = *call.facts.traces;
    const auto part = [](const char* name, const Traces::Size& size) {
        return Part{name, size.entries, size.bytes};
    };
    return sum_of("Traces",
                  {part("changes", traces.size_of_changes()), part("reads", traces.size_of_reads()),
                   part("lines", traces.size_of_lines()), part("errors", traces.size_of_errors())});
}

std::string text_of(const Group& group, bool with_detail) {
    std::string text = line_of(group.whole.name,
                               fmt::format("{} entries, {} bytes", group.whole.entries, group.whole.bytes));
    for (const Part& part : group.parts) {
        if (with_detail) {
            const std::string bytes = part.bytes == 0 ? "" : fmt::format(", {} bytes", part.bytes);
            text += line_of("  " + part.name, fmt::format("{}{}", part.entries, bytes));
        }
    }
    return text;
}

// Of the store: what each table holds.
std::string tables_text(SQLite::Database& connection) {
    std::string text;
    SQLite::Statement tables(connection,
                             "SELECT name, replace(name, '\"', '\"\"') FROM sqlite_schema "
                             "WHERE type = 'table' AND name NOT LIKE 'sqlite_%' ORDER BY name");
    while (tables.executeStep()) {
        const std::size_t rows = number_from(
            connection, fmt::format("SELECT count(*) FROM \"{}\"", tables.getColumn(1).getString()));
        text += line_of("  table " + tables.getColumn(0).getString(), fmt::format("{} rows", rows));
    }
    return text;
}

std::string bytes_text(std::uint64_t bytes) {
    return fmt::format("{} bytes", bytes);
}

std::string store_text(SQLite::Database& connection, bool with_detail) {
    const std::size_t pages = number_from(connection, "PRAGMA page_count");
    const std::size_t page_size = number_from(connection, "PRAGMA page_size");
    int cache = 0;
    int most = 0;
    ::sqlite3_db_status(connection.getHandle(), SQLITE_DBSTATUS_CACHE_USED, &cache, &most, 0);
    return line_of("Store", fmt::format("{} pages, {} bytes", pages, pages * page_size)) +
           line_of("Memory of the store", bytes_text(static_cast<std::uint64_t>(::sqlite3_memory_used()))) +
           (with_detail ? line_of("  cached pages", bytes_text(static_cast<std::uint64_t>(cache))) +
                              tables_text(connection)
                        : "");
}

std::string heap_text(bool with_detail) {
    const struct mallinfo2 heap = ::mallinfo2();
    return line_of("Heap in use", bytes_text(heap.uordblks + heap.hblkhd)) +
           line_of("Heap free", bytes_text(heap.fordblks)) +
           (with_detail ? line_of("  of the system", bytes_text(heap.arena + heap.hblkhd)) +
                              line_of("  mapped", bytes_text(heap.hblkhd)) +
                              line_of("  free blocks", heap.ordblks) +
                              line_of("  free at its end", bytes_text(heap.keepcost))
                        : "");
}

}  // namespace

std::string memory_statistics_text(const Call& call, bool with_detail) {
    std::string text;
    std::vector<Group> groups{configuration_group(call), queue_group(call), catalogue_group(call),
                              traces_group(call)};
    if (call.session.why_no_pending_copy() == protocol::Status::ok) {
        groups.push_back(sum_of("Pending configuration", parts_of(call.store.pending().configuration())));
    }
    for (const Group& group : groups) {
        text += text_of(group, with_detail);
    }
    return text + store_text(call.facts.database.connection(), with_detail) + heap_text(with_detail) +
           process_memory_text();
}

}  // namespace callhome::service
