// The configuration: served from memory, kept in the database. Each change is one transaction that is
// committed before memory follows; a change whose commit fails throws SQLite::Exception and leaves
// memory and database as they were. What a change may be is the requests' business, not checked here.
// Used from the io_context's thread only.
#pragma once

#include <string>
#include <string_view>

#include "store/configuration.h"
#include "store/configuration_copy.h"
#include "store/database.h"
#include "store/schema.h"
#include "store/transaction.h"

namespace callhome::service {

inline constexpr const char* priority_item = "priority";
inline constexpr std::string_view default_priority = "7";

class Store {
 public:
    // Creates what the database lacks and reads the rest into memory.
    explicit Store(Database& database);

    // The object stays where it is for the store's life; its content follows the changes.
    const Configuration& configuration() const { return configuration_; }

    // What may be distributed. The effective copy is the shared part of configuration(); the pending copy
    // is empty while no distribution session is open.
    ConfigurationCopy& effective() { return effective_; }
    const ConfigurationCopy& effective() const { return effective_; }
    ConfigurationCopy& pending() { return pending_; }
    const ConfigurationCopy& pending() const { return pending_; }

    void set_enabled(bool enabled);
    void set_traps_enabled(bool enabled);
    void set_duplicate_throttle(bool enabled);
    void set_distribution(bool enabled);
    void set_privacy(const Privacy& privacy);

    void set_contact(const std::string& name, const std::string& value);
    void remove_contact(const std::string& name);  // "priority" goes back to its default

    // For changes that belong together.
    Transactions& transactions() { return transactions_; }

 private:
    void load_settings();
    void load_contact();
    void put_setting(const char* name, bool value);

    SQLite::Database& connection_;
    Configuration configuration_;
    SharedConfiguration pending_configuration_;
    Transactions transactions_;
    ConfigurationCopy effective_;
    ConfigurationCopy pending_;

    // Prepared once: a change costs its commit and little else.
    struct Statements {
        explicit Statements(SQLite::Database& connection);
        SQLite::Statement put_setting;
        SQLite::Statement put_contact, remove_contact;
    };
    // Declared behind what creates the tables that the statements name.
    Statements statements_;
};

}  // namespace callhome::service
