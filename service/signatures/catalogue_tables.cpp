#include "signatures/catalogue_tables.h"

#include <SQLiteCpp/VariadicBind.h>

namespace callhome::service {
namespace {

constexpr const char* tables = R"sql(
CREATE TABLE IF NOT EXISTS signature_setting (
    name TEXT PRIMARY KEY,
    value TEXT NOT NULL
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS signature_environment (
    name TEXT PRIMARY KEY,
    value TEXT NOT NULL
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS signature (
    id INTEGER PRIMARY KEY,
    xml TEXT NOT NULL,
    state INTEGER NOT NULL,
    runs_of_install INTEGER NOT NULL,
    loaded_at INTEGER NOT NULL,
    installed_at INTEGER NOT NULL,
    runs INTEGER NOT NULL,
    dropped_events INTEGER NOT NULL,
    total_seconds REAL NOT NULL,
    longest_seconds REAL NOT NULL,
    last_run_at INTEGER NOT NULL,
    messages_sent INTEGER NOT NULL,
    messages_failed INTEGER NOT NULL,
    last_message_at INTEGER NOT NULL,
    last_message_result TEXT NOT NULL
);

CREATE TABLE IF NOT EXISTS signature_answer (
    signature INTEGER NOT NULL REFERENCES signature (id) ON DELETE CASCADE,
    name TEXT NOT NULL,
    value TEXT NOT NULL,
    PRIMARY KEY (signature, name)
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS signature_failure (
    entry INTEGER PRIMARY KEY,
    id INTEGER NOT NULL,
    stage INTEGER NOT NULL,
    name TEXT NOT NULL,
    at INTEGER NOT NULL,
    why TEXT NOT NULL
);

CREATE TABLE IF NOT EXISTS signature_download (
    kind INTEGER PRIMARY KEY,
    failed INTEGER NOT NULL,
    succeeded INTEGER NOT NULL,
    last_request_at INTEGER NOT NULL
);
)sql";

constexpr const char* active_setting = "active";
constexpr const char* profile_setting = "profile";
constexpr const char* yes = "yes";
constexpr const char* no = "no";

template <typename... Values>
void execute(SQLite::Database& connection, const char* sql, const Values&... values) {
    SQLite::Statement statement(connection, sql);
    SQLite::bind(statement, values...);
    statement.exec();
}

void write_setting(SQLite::Database& connection, const char* name, const std::string& value) {
    execute(connection, "REPLACE INTO signature_setting (name, value) VALUES (?, ?)", name, value);
}

CatalogueEntry entry_in(SQLite::Statement& row) {
    int column = 0;
    const auto next = [&] { return row.getColumn(column++); };
    CatalogueEntry entry;
    entry.id = next().getUInt();
    entry.state = static_cast<SignatureState>(next().getInt());
    entry.runs_of_install = next().getUInt();
    entry.loaded_at = next().getInt64();
    entry.installed_at = next().getInt64();
    SignatureCounters& counters = entry.counters;
    counters.runs = next().getUInt();
    counters.dropped_events = next().getUInt();
    counters.total_seconds = next().getDouble();
    counters.longest_seconds = next().getDouble();
    counters.last_run_at = next().getInt64();
    counters.messages_sent = next().getUInt();
    counters.messages_failed = next().getUInt();
    counters.last_message_at = next().getInt64();
    counters.last_message_result = next().getString();
    return entry;
}

VariableValues read_answers(SQLite::Database& connection, std::uint32_t id) {
    VariableValues answers;
    SQLite::Statement row(connection, "SELECT name, value FROM signature_answer WHERE signature = ?");
    row.bind(1, id);
    while (row.executeStep()) {
        answers[row.getColumn(0).getString()] = row.getColumn(1).getString();
    }
    return answers;
}

}  // namespace

void create_signature_tables(SQLite::Database& connection) {
    SQLite::Transaction transaction(connection);
    connection.exec(tables);
    transaction.commit();
}

SignatureSettings read_signature_settings(SQLite::Database& connection) {
    SignatureSettings settings;
    for (SQLite::Statement row(connection, "SELECT name, value FROM signature_setting");
         row.executeStep();) {
        const std::string name = row.getColumn(0).getString();
        const std::string value = row.getColumn(1).getString();
        if (name == active_setting) {
            settings.active = value == yes;
        } else if (name == profile_setting) {
            settings.profile = value;
        }
    }
    for (SQLite::Statement row(connection, "SELECT name, value FROM signature_environment");
         row.executeStep();) {
        settings.environment[row.getColumn(0).getString()] = row.getColumn(1).getString();
    }
    return settings;
}

void write_active(SQLite::Database& connection, bool active) {
    write_setting(connection, active_setting, active ? yes : no);
}

void write_profile(SQLite::Database& connection, const std::string& name) {
    write_setting(connection, profile_setting, name);
}

void write_variable(SQLite::Database& connection, const std::string& name, const std::string& value) {
    execute(connection, "REPLACE INTO signature_environment (name, value) VALUES (?, ?)", name, value);
}

void delete_variable(SQLite::Database& connection, const std::string& name) {
    execute(connection, "DELETE FROM signature_environment WHERE name = ?", name);
}

void each_signature_row(SQLite::Database& connection,
                        const std::function<void(CatalogueEntry entry, const std::string& xml)>& take) {
    SQLite::Statement row(
        connection,
        "SELECT id, state, runs_of_install, loaded_at, installed_at, runs, dropped_events, total_seconds,"
        " longest_seconds, last_run_at, messages_sent, messages_failed, last_message_at,"
        " last_message_result, xml FROM signature ORDER BY id");
    constexpr int xml_column = 14;
    while (row.executeStep()) {
        CatalogueEntry entry = entry_in(row);
        entry.answers = read_answers(connection, entry.id);
        take(std::move(entry), row.getColumn(xml_column).getString());
    }
}

std::string read_signature_xml(SQLite::Database& connection, std::uint32_t id) {
    SQLite::Statement row(connection, "SELECT xml FROM signature WHERE id = ?");
    row.bind(1, id);
    return row.executeStep() ? row.getColumn(0).getString() : std::string();
}

void write_signature(SQLite::Database& connection, const CatalogueEntry& entry, const std::string& xml) {
    execute(connection,
            "INSERT INTO signature VALUES (?, ?, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, '')"
            " ON CONFLICT (id) DO UPDATE SET xml = excluded.xml",
            entry.id, xml);
    write_signature_state(connection, entry);
    write_answers(connection, entry);
}

void write_signature_state(SQLite::Database& connection, const CatalogueEntry& entry) {
    const SignatureCounters& counters = entry.counters;
    execute(
        connection,
        "UPDATE signature SET state = ?, runs_of_install = ?, loaded_at = ?, installed_at = ?, runs = ?,"
        " dropped_events = ?, total_seconds = ?, longest_seconds = ?, last_run_at = ?,"
        " messages_sent = ?, messages_failed = ?, last_message_at = ?, last_message_result = ?"
        " WHERE id = ?",
        static_cast<int>(entry.state), entry.runs_of_install, entry.loaded_at, entry.installed_at,
        counters.runs, counters.dropped_events, counters.total_seconds, counters.longest_seconds,
        counters.last_run_at, counters.messages_sent, counters.messages_failed, counters.last_message_at,
        counters.last_message_result, entry.id);
}

void write_answers(SQLite::Database& connection, const CatalogueEntry& entry) {
    execute(connection, "DELETE FROM signature_answer WHERE signature = ?", entry.id);
    for (const auto& [name, value] : entry.answers) {
        execute(connection, "INSERT INTO signature_answer (signature, name, value) VALUES (?, ?, ?)",
                entry.id, name, value);
    }
}

void delete_signature(SQLite::Database& connection, std::uint32_t id) {
    execute(connection, "DELETE FROM signature WHERE id = ?", id);
}

void delete_all_signatures(SQLite::Database& connection) {
    connection.exec("DELETE FROM signature");
}

// What failed last stands last, so that the oldest are those with the lowest numbers.
void write_failure(SQLite::Database& connection, const SignatureFailure& failure) {
    const int stage = static_cast<unsigned char>(failure.stage);
    execute(connection,
            "DELETE FROM signature_failure WHERE id = ?1 AND stage = ?2 AND (?1 != 0 OR name = ?3)",
            failure.id, stage, failure.name);
    execute(connection, "INSERT INTO signature_failure (id, stage, name, at, why) VALUES (?, ?, ?, ?, ?)",
            failure.id, stage, failure.name, failure.at, failure.why);
    execute(connection,
            "DELETE FROM signature_failure WHERE entry NOT IN"
            " (SELECT entry FROM signature_failure ORDER BY entry DESC LIMIT ?)",
            most_failures);
}

void each_failure_row(SQLite::Database& connection,
                      const std::function<void(const SignatureFailure&)>& take) {
    SQLite::Statement row(connection,
                          "SELECT id, stage, name, at, why FROM signature_failure ORDER BY entry DESC");
    while (row.executeStep()) {
        SignatureFailure failure;
        int column = 0;
        failure.id = row.getColumn(column++).getUInt();
        failure.stage = static_cast<FailureStage>(row.getColumn(column++).getInt());
        failure.name = row.getColumn(column++).getString();
        failure.at = row.getColumn(column++).getInt64();
        failure.why = row.getColumn(column++).getString();
        take(failure);
    }
}

void delete_failures(SQLite::Database& connection) {
    connection.exec("DELETE FROM signature_failure");
}

DownloadCounters read_downloads(SQLite::Database& connection, DownloadKind kind) {
    SQLite::Statement row(
        connection, "SELECT failed, succeeded, last_request_at FROM signature_download WHERE kind = ?");
    row.bind(1, static_cast<int>(kind));
    DownloadCounters counters;
    if (row.executeStep()) {
        int column = 0;
        counters.failed = row.getColumn(column++).getUInt();
        counters.succeeded = row.getColumn(column++).getUInt();
        counters.last_request_at = row.getColumn(column++).getInt64();
    }
    return counters;
}

void write_downloads(SQLite::Database& connection, DownloadKind kind, const DownloadCounters& counters) {
    execute(connection,
            "REPLACE INTO signature_download (kind, failed, succeeded, last_request_at)"
            " VALUES (?, ?, ?, ?)",
            static_cast<int>(kind), counters.failed, counters.succeeded, counters.last_request_at);
}

void delete_downloads(SQLite::Database& connection) {
    connection.exec("DELETE FROM signature_download");
}

}  // namespace callhome::service
