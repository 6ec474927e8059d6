#include "store/store.h"

#include <algorithm>
#include <array>

namespace callhome::service {
namespace {

SQLite::Database& with_tables(SQLite::Database& connection) {
    create_configuration_tables(connection);
    return connection;
}

// The rows of the table `setting` and what each of them says; one that is missing leaves the default.
struct SettingRow {
    std::string_view name;
    bool& (*place)(Configuration& configuration);
};

constexpr std::array setting_rows{
    SettingRow{enabled_setting, [](Configuration& all) -> bool& { return all.enabled; }},
    SettingRow{traps_setting, [](Configuration& all) -> bool& { return all.traps_enabled; }},
    SettingRow{throttle_setting, [](Configuration& all) -> bool& { return all.duplicate_throttle; }},
    SettingRow{distribution_setting, [](Configuration& all) -> bool& { return all.distribution; }},
    SettingRow{privacy_level_setting, [](Configuration& all) -> bool& { return all.privacy.high; }},
    SettingRow{privacy_host_name_setting,
               [](Configuration& all) -> bool& { return all.privacy.host_name; }},
};

}  // namespace

Store::Statements::Statements(SQLite::Database& connection)
    : put_setting(connection, "REPLACE INTO setting (name, value) VALUES (?, ?)"),
      put_contact(connection, "REPLACE INTO contact (name, value) VALUES (?, ?)"),
      remove_contact(connection, "DELETE FROM contact WHERE name = ?") {}

Store::Store(Database& database)
    : connection_(with_tables(database.connection())),
      transactions_(connection_),
      effective_(connection_, transactions_, effective_prefix, configuration_),
      pending_(connection_, transactions_, pending_prefix, pending_configuration_),
      statements_(connection_) {
    load_settings();
    load_contact();
}

void Store::load_settings() {
    for (SQLite::Statement row(connection_, "SELECT name, value FROM setting"); row.executeStep();) {
        const std::string name = row.getColumn(0).getString();
        const auto* setting = std::ranges::find(setting_rows, name, &SettingRow::name);
        if (setting != setting_rows.end()) {
            setting->place(configuration_) = row.getColumn(1).getInt() != 0;
        }
    }
}

void Store::load_contact() {
    configuration_.contact.insert_or_assign(priority_item, std::string(default_priority));
    for (SQLite::Statement row(connection_, "SELECT name, value FROM contact"); row.executeStep();) {
        configuration_.contact[row.getColumn(0).getString()] = row.getColumn(1).getString();
    }
}

void Store::put_setting(const char* name, bool value) {
    run(statements_.put_setting, name, static_cast<int>(value));
}

void Store::set_enabled(bool enabled) {
    put_setting(enabled_setting, enabled);
    configuration_.enabled = enabled;
}

void Store::set_traps_enabled(bool enabled) {
    put_setting(traps_setting, enabled);
    configuration_.traps_enabled = enabled;
}

void Store::set_duplicate_throttle(bool enabled) {
    put_setting(throttle_setting, enabled);
    configuration_.duplicate_throttle = enabled;
}

void Store::set_distribution(bool enabled) {
    put_setting(distribution_setting, enabled);
    configuration_.distribution = enabled;
}

void Store::set_privacy(const Privacy& privacy) {
    Transaction transaction(transactions_);
    put_setting(privacy_level_setting, privacy.high);
    put_setting(privacy_host_name_setting, privacy.host_name);
    transaction.commit();
    configuration_.privacy = privacy;
}

void Store::set_contact(const std::string& name, const std::string& value) {
    run(statements_.put_contact, name, value);
    configuration_.contact[name] = value;
}

void Store::remove_contact(const std::string& name) {
    run(statements_.remove_contact, name);
    if (name == priority_item) {
        configuration_.contact.insert_or_assign(name, std::string(default_priority));
    } else {
        configuration_.contact.erase(name);
    }
}

}  // namespace callhome::service
