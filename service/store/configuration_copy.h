// One copy of the shared configuration: served from memory, kept in the tables of its prefix. Each change
// is one transaction, or a part of the one under way; memory follows when its statements have succeeded. A
// change that throws SQLite::Exception leaves memory and tables as they were. What a change may be is the
// requests' business, not checked here. Used from the io_context's thread only.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "store/configuration.h"
#include "store/copy_contents.h"
#include "store/schema.h"
#include "store/transaction.h"

namespace callhome::service {

enum class AddressKind {
    email,
    url,
};

class ConfigurationCopy {
 public:
    // The tables exist; they are read into `image`, which follows the changes.
    ConfigurationCopy(SQLite::Database& connection, Transactions& transactions, std::string_view prefix,
                      SharedConfiguration& image);

    const SharedConfiguration& configuration() const { return image_; }

    // Creates the profile, or changes its format, size, level and transport methods; the lists of an
    // existing one stay, those of `profile` are not looked at.
    void put_profile(const Profile& profile);
    void remove_profile(const std::string& name);

    // The profile exists.
    void add_address(AddressKind kind, const std::string& profile, const std::string& address);
    void remove_address(AddressKind kind, const std::string& profile, const std::string& address);
    void add_alert_group(const std::string& profile, const std::string& group);
    void remove_alert_group(const std::string& profile, const std::string& group);

    void put_mail_settings(const MailSettings& settings);
    void put_mail_server(const MailServer& server);
    void remove_mail_server(const std::string& host);

    void put_http_settings(const HttpSettings& settings);
    void put_periodic_inventory(const PeriodicInventory& settings);

    void add_user_command(const std::string& group, const std::string& command);
    void remove_user_command(const std::string& group, const std::string& command);

    // Where the profile stands in the walk, or would stand.
    std::vector<Profile>::const_iterator profile_position(std::string_view name) const;
    // A null pointer when there is none of that name.
    const Profile* find_profile(std::string_view name) const;
    const MailServer* find_mail_server(std::string_view host) const;

    // One copy as a whole becomes another. The tables change within a transaction of the caller; memory is
    // made to follow apart from that, so that it can wait for the commit.
    void replace_tables(const ConfigurationCopy& source);
    void replace_memory(const ConfigurationCopy& source);
    void empty_tables();
    void empty_memory();
    // An index that the source has given away will not be given here.
    void raise_next_entries_in_tables(const ConfigurationCopy& source);
    void raise_next_entries_in_memory(const ConfigurationCopy& source);

 private:
    Profile* profile_in_memory(std::string_view name);
    std::uint32_t next_entry(const std::string& profile, ProfileList list) const;
    std::uint32_t add_entry(const std::string& profile, ProfileList list, const std::string& text);
    void remove_entry(const std::string& profile, ProfileList list, const std::string& text);

    SQLite::Database& connection_;
    Transactions& transactions_;
    const std::string_view prefix_;
    SharedConfiguration& image_;
    NextEntries next_entries_;

    // Prepared once: a change costs its commit and little else.
    struct Statements {
        Statements(SQLite::Database& connection, std::string_view prefix);
        SQLite::Statement put_profile, remove_profile;
        SQLite::Statement add_entry, put_next_entry, remove_entry;
        SQLite::Statement put_mail_settings;
        SQLite::Statement put_mail_server, remove_mail_server;
        SQLite::Statement put_http_settings, put_periodic_inventory;
        SQLite::Statement add_user_command, put_next_user_command, remove_user_command;
    };
    Statements statements_;
};

}  // namespace callhome::service
