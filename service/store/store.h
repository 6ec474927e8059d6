// The configuration: served from memory, kept in the database. Each change is one transaction that is
// committed before memory follows; a change whose commit fails throws SQLite::Exception and leaves
// memory and database as they were. What a change may be is the requests' business, not checked here.
// Used from the io_context's thread only.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "store/configuration.h"
#include "store/database.h"
#include "store/schema.h"

namespace callhome::service {

enum class AddressKind {
    email,
    url,
};

inline constexpr const char* priority_item = "priority";
inline constexpr std::string_view default_priority = "7";

class Store {
 public:
    // Creates what the database lacks and reads the rest into memory.
    explicit Store(Database& database);

    // The object stays where it is for the store's life; its content follows the changes.
    const Configuration& configuration() const { return configuration_; }

    void set_enabled(bool enabled);
    void set_traps_enabled(bool enabled);

    void set_contact(const std::string& name, const std::string& value);
    void remove_contact(const std::string& name);  // "priority" goes back to its default

    // Creates the profile, or changes its format, size, level and transport methods; the lists of an
    // existing one stay, those of `profile` are not looked at.
    void put_profile(const Profile& profile);
    void remove_profile(const std::string& name);

    // The profile exists.
    void add_address(AddressKind kind, const std::string& profile, const std::string& address);
    void remove_address(AddressKind kind, const std::string& profile, const std::string& address);

    void put_mail_settings(const MailSettings& settings);
    void put_mail_server(const MailServer& server);
    void remove_mail_server(const std::string& host);

    // Where the profile stands in the walk, or would stand.
    std::vector<Profile>::const_iterator profile_position(std::string_view name) const;
    // A null pointer when there is none of that name.
    const Profile* find_profile(std::string_view name) const;
    const MailServer* find_mail_server(std::string_view host) const;

 private:
    void load_settings();
    void load_profiles();
    void load_profile_lists();
    void load_mail();
    Profile* profile_in_memory(std::string_view name);
    std::uint32_t next_entry(const std::string& profile, ProfileList list) const;

    template <typename... Values>
    void run(SQLite::Statement& statement, const Values&... values);
    template <typename Steps>
    void in_transaction(const Steps& steps);

    SQLite::Database& connection_;
    Configuration configuration_;
    std::map<std::pair<std::string, ProfileList>, std::uint32_t> next_entries_;

    // Prepared once: a change costs its commit and little else.
    struct Statements {
        explicit Statements(SQLite::Database& connection);
        SQLite::Statement begin, commit, rollback;
        SQLite::Statement put_setting;
        SQLite::Statement put_contact, remove_contact;
        SQLite::Statement put_profile, remove_profile;
        SQLite::Statement add_entry, put_next_entry, remove_entry;
        SQLite::Statement put_mail_settings;
        SQLite::Statement put_mail_server, remove_mail_server;
    };
    // Declared behind what creates the tables that the statements name.
    Statements statements_;
};

}  // namespace callhome::service
