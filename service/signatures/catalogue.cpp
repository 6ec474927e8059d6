#include "signatures/catalogue.h"

#include <spdlog/spdlog.h>

#include <algorithm>

#include "messages/text.h"
#include "signatures/catalogue_tables.h"

namespace callhome::service {
namespace {

SQLite::Database& with_tables(SQLite::Database& connection) {
    create_signature_tables(connection);
    return connection;
}

// Whether the signature can run with these values: each variable has one, and may have it.
bool are_enough(const VariableValues& values, const Signature& signature) {
    return std::ranges::all_of(signature.variables, [&](const SignatureVariable& variable) {
        const auto value = values.find(variable.name);
        return value != values.end() && !refuse_value(variable, value->second);
    });
}

// Answers to questions that the text no longer asks.
VariableValues still_asked_for(const VariableValues& answers, const Signature& signature) {
    VariableValues kept;
    for (const SignatureVariable& variable : signature.variables) {
        const auto answer = answers.find(variable.name);
        if (variable.is_asked_for() && answer != answers.end()) {
            kept.insert(*answer);
        }
    }
    return kept;
}

bool is_used_up(const CatalogueEntry& entry) {
    const std::uint32_t limit = entry.signature->execution_limit;
    return limit != 0 && entry.runs_of_install >= limit;
}

}  // namespace

VariableValues variables_of(const Signature& signature, const VariableValues& answers,
                            const VariableValues& environment) {
    VariableValues values;
    for (const SignatureVariable& variable : signature.variables) {
        const VariableValues& source = variable.is_asked_for() ? answers : environment;
        if (const auto value = source.find(variable.name); value != source.end()) {
            values.insert(*value);
        } else if (variable.default_value && !variable.is_asked_for()) {
            values.emplace(variable.name, *variable.default_value);
        }
    }
    return values;
}

Catalogue::Catalogue(Database& database, const Read& read, std::function<std::int64_t()> now)
    : connection_(with_tables(database.connection())),
      transactions_(connection_),
      now_(std::move(now)),
      settings_(read_signature_settings(connection_)) {
    read_entries(read);
    for (const DownloadKind kind : download_kinds) {
        downloads_[kind] = read_downloads(connection_, kind);
    }
}

void Catalogue::read_entries(const Read& read) {
    each_signature_row(connection_, [&](CatalogueEntry entry, const std::string& xml) {
        auto signature = read(xml);
        if (const auto* refusal = std::get_if<Refusal>(&signature)) {
            spdlog::error("signature {} is left out: {}; load its file again", entry.id, refusal->why);
            return;
        }
        entry.signature = std::make_shared<const Signature>(std::get<Signature>(std::move(signature)));
        entries_.emplace(entry.id, std::move(entry));
    });
}

const CatalogueEntry* Catalogue::find(std::uint32_t id) const {
    const auto found = entries_.find(id);
    return found == entries_.end() ? nullptr : &found->second;
}

CatalogueEntry* Catalogue::entry(std::uint32_t id) {
    const auto found = entries_.find(id);
    return found == entries_.end() ? nullptr : &found->second;
}

std::string Catalogue::xml_of(std::uint32_t id) const {
    return read_signature_xml(connection_, id);
}

std::vector<InstalledSignature> Catalogue::runnable() const {
    std::vector<InstalledSignature> runnable;
    if (!settings_.active) {
        return runnable;
    }
    for (const auto& [id, entry] : entries_) {
        if (entry.state == SignatureState::installed) {
            runnable.push_back({id, entry.signature,
                                variables_of(*entry.signature, entry.answers, settings_.environment)});
        }
    }
    return runnable;
}

void Catalogue::changed() const {
    if (changed_) {
        changed_();
    }
}

void Catalogue::set_active(bool active) {
    write_active(connection_, active);
    settings_.active = active;
    changed();
}

void Catalogue::set_profile(const std::string& name) {
    write_profile(connection_, name);
    settings_.profile = name;
}

void Catalogue::set_variable(const std::string& name, const std::string& value) {
    write_variable(connection_, name, value);
    settings_.environment[name] = value;
    changed();
}

void Catalogue::remove_variable(const std::string& name) {
    delete_variable(connection_, name);
    settings_.environment.erase(name);
    changed();
}

CatalogueEntry Catalogue::entry_for(const Load& load) const {
    CatalogueEntry entry;
    if (const CatalogueEntry* before = find(load.signature.id)) {
        entry = *before;
    }
    entry.id = load.signature.id;
    entry.signature = std::make_shared<const Signature>(load.signature);
    entry.loaded_at = now_();
    if (entry.state != SignatureState::loaded &&
        !are_enough(variables_of(load.signature, entry.answers, settings_.environment), load.signature)) {
        entry.state = SignatureState::loaded;
    }
    entry.answers = still_asked_for(entry.answers, load.signature);
    return entry;
}

void Catalogue::load(const std::vector<Load>& signatures) {
    std::vector<CatalogueEntry> loaded;
    Transaction transaction(transactions_);
    for (const Load& load : signatures) {
        loaded.push_back(entry_for(load));
        write_signature(connection_, loaded.back(), load.xml);
    }
    transaction.commit();
    for (CatalogueEntry& entry : loaded) {
        entries_.insert_or_assign(entry.id, std::move(entry));
    }
    changed();
}

void Catalogue::install(std::uint32_t id, const VariableValues& answers) {
    CatalogueEntry* kept = entry(id);
    if (kept == nullptr) {
        return;
    }
    CatalogueEntry installed = *kept;
    installed.state = SignatureState::installed;
    installed.answers = answers;
    installed.runs_of_install = 0;
    installed.installed_at = now_();
    Transaction transaction(transactions_);
    write_signature_state(connection_, installed);
    write_answers(connection_, installed);
    transaction.commit();
    *kept = std::move(installed);
    changed();
}

void Catalogue::remove(std::uint32_t id) {
    delete_signature(connection_, id);
    entries_.erase(id);
    changed();
}

void Catalogue::remove_all() {
    delete_all_signatures(connection_);
    entries_.clear();
    changed();
}

AfterRun Catalogue::note_run(std::uint32_t id, double seconds) {
    CatalogueEntry* kept = entry(id);
    if (kept == nullptr) {
        return AfterRun::removed;
    }
    CatalogueEntry entry = *kept;
    ++entry.runs_of_install;
    ++entry.counters.runs;
    entry.counters.total_seconds += seconds;
    entry.counters.longest_seconds = std::max(entry.counters.longest_seconds, seconds);
    entry.counters.last_run_at = now_();
    if (is_used_up(entry) && entry.signature->removed_at_limit) {
        remove(id);
        return AfterRun::removed;
    }
    if (is_used_up(entry)) {
        entry.state = SignatureState::finished;
    }
    write_signature_state(connection_, entry);
    *kept = std::move(entry);
    if (kept->state == SignatureState::installed) {
        return AfterRun::goes_on;
    }
    changed();
    return AfterRun::deactivated;
}

// Not stored at once: they come in floods, and a commit waits for the disk. The next run takes them along.
void Catalogue::note_dropped_event(std::uint32_t id) {
    if (CatalogueEntry* kept = entry(id)) {
        ++kept->counters.dropped_events;
    }
}

void Catalogue::note_message(std::uint32_t id, bool sent, const std::string& result) {
    CatalogueEntry* kept = entry(id);
    if (kept == nullptr) {
        return;
    }
    CatalogueEntry entry = *kept;
    ++(sent ? entry.counters.messages_sent : entry.counters.messages_failed);
    entry.counters.last_message_at = now_();
    entry.counters.last_message_result = clean_line(result);
    write_signature_state(connection_, entry);
    *kept = std::move(entry);
}

void Catalogue::note_failure(std::uint32_t id, FailureStage stage, const std::string& why) {
    const CatalogueEntry* kept = find(id);
    note_failure(
        {.id = id, .name = kept == nullptr ? "" : kept->signature->name, .stage = stage, .why = why});
}

void Catalogue::note_failure(SignatureFailure failure) {
    failure.at = now_();
    failure.name = clean_line(failure.name);
    failure.why = clean_line(failure.why);
    Transaction transaction(transactions_);
    write_failure(connection_, failure);
    transaction.commit();
}

void Catalogue::each_failure(const std::function<void(const SignatureFailure&)>& take) const {
    each_failure_row(connection_, take);
}

DownloadCounters Catalogue::downloads(DownloadKind kind) const {
    return downloads_.at(kind);
}

void Catalogue::change_downloads(DownloadKind kind, const std::function<void(DownloadCounters&)>& change) {
    DownloadCounters counters = downloads_.at(kind);
    change(counters);
    write_downloads(connection_, kind, counters);
    downloads_.at(kind) = counters;
}

void Catalogue::note_download_request(DownloadKind kind) {
    change_downloads(kind, [this](DownloadCounters& counters) { counters.last_request_at = now_(); });
}

void Catalogue::note_download_result(DownloadKind kind, bool succeeded) {
    change_downloads(kind, [succeeded](DownloadCounters& counters) {
        ++(succeeded ? counters.succeeded : counters.failed);
    });
}

void Catalogue::clear_run_statistics() {
    std::map<std::uint32_t, CatalogueEntry> cleared = entries_;
    Transaction transaction(transactions_);
    for (auto& [id, entry] : cleared) {
        entry.counters = {};
        write_signature_state(connection_, entry);
    }
    delete_failures(connection_);
    transaction.commit();
    entries_ = std::move(cleared);
}

void Catalogue::clear_download_statistics() {
    delete_downloads(connection_);
    for (auto& [kind, counters] : downloads_) {
        counters = {};
    }
}

}  // namespace callhome::service
