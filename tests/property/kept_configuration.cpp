#include "kept_configuration.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <array>

namespace callhome::test {
namespace {

// Where two contents mean the same, the query makes them the same; what no line tells is left out: URLs and
// ways of sending, return receipts, the groups that the built-in profiles begin with.
constexpr std::array queries{
    "SELECT 'contact', name, value FROM contact WHERE name <> 'priority' OR value <> '7' ORDER BY name",
    "SELECT 'switch', name, value FROM setting WHERE name IN ('enabled', 'traps enabled') "
    "AND value <> 0 ORDER BY name",
    "SELECT 'throttle off' FROM setting WHERE name LIKE '%throttle%' AND value = 0",
    "SELECT 'profile', name, format, message_size, message_level FROM profile ORDER BY name",
    "SELECT 'e-mail', profile, text FROM profile_entry WHERE list = 1 ORDER BY profile, entry",
    "SELECT 'group', profile, text FROM profile_entry JOIN profile ON profile = name WHERE list = 3 "
    "AND NOT (built_in AND text IN ('all', 'ZUVA-TAC')) ORDER BY profile, entry",
    "SELECT 'mail', sender, reply_to FROM mail_settings WHERE sender <> '' OR reply_to <> ''",
    "SELECT 'smtp', smtp_server, address_type, iif(port = 25, 0, port), vrf_name, vrf_id "
    "FROM mail_settings WHERE smtp_server <> ''",
    "SELECT 'server', host, address_type, port, priority, vrf_name, vrf_id FROM mail_server ORDER BY host",
    "SELECT 'proxy', proxy_server, proxy_address_type, proxy_port, proxy_enabled "
    "FROM http_settings WHERE proxy_server <> ''",
    "SELECT 'vrf', vrf_name FROM http_settings WHERE vrf_name <> ''",
    "SELECT 'inventory', notification, time_period, time_of_day FROM periodic_inventory "
    "WHERE (notification, time_period, time_of_day) <> (0, 7, 480)",
    "SELECT 'command', alert_group, command FROM user_command ORDER BY entry",
};

}  // namespace

std::string kept_configuration(const std::filesystem::path& database) {
    const SQLite::Database connection(database.string());
    std::string content;
    for (const char* query : queries) {
        for (SQLite::Statement row(connection, query); row.executeStep();) {
            for (int column = 0; column < row.getColumnCount(); ++column) {
                content += row.getColumn(column).getString() + '\x1f';
            }
            content += '\n';
        }
    }
    return content;
}

}  // namespace callhome::test
