// The catalogue in the database: tables, and rows read and written. Transactions are the caller's.
#pragma once

#include <functional>
#include <string>

#include "signatures/catalogue.h"

namespace callhome::service {

void create_signature_tables(SQLite::Database& connection);

SignatureSettings read_signature_settings(SQLite::Database& connection);
void write_active(SQLite::Database& connection, bool active);
void write_profile(SQLite::Database& connection, const std::string& name);
void write_variable(SQLite::Database& connection, const std::string& name, const std::string& value);
void delete_variable(SQLite::Database& connection, const std::string& name);

// Calls with each row, without its signature.
void each_signature_row(SQLite::Database& connection,
                        const std::function<void(CatalogueEntry entry, const std::string& xml)>& take);
std::string read_signature_xml(SQLite::Database& connection, std::uint32_t id);
// The whole row, with the answers.
void write_signature(SQLite::Database& connection, const CatalogueEntry& entry, const std::string& xml);
// All but the text and the answers.
void write_signature_state(SQLite::Database& connection, const CatalogueEntry& entry);
void write_answers(SQLite::Database& connection, const CatalogueEntry& entry);
void delete_signature(SQLite::Database& connection, std::uint32_t id);
void delete_all_signatures(SQLite::Database& connection);

inline constexpr int most_failures = 1000;  // that are kept
void write_failure(SQLite::Database& connection, const SignatureFailure& failure);
void each_failure_row(SQLite::Database& connection,
                      const std::function<void(const SignatureFailure&)>& take);
void delete_failures(SQLite::Database& connection);

DownloadCounters read_downloads(SQLite::Database& connection, DownloadKind kind);
void write_downloads(SQLite::Database& connection, DownloadKind kind, const DownloadCounters& counters);
void delete_downloads(SQLite::Database& connection);

}  // namespace callhome::service
