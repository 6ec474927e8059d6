// The diagnostic signatures of this switch: which are loaded, which of them are installed and may run, what
// has come of them. Served from memory, kept in the database; each change is one transaction, and memory
// follows when it has been committed. A change that cannot be stored throws SQLite::Exception and leaves
// memory and database as they were. What a change may be is the requests' business, not checked here.
// Used from the io_context's thread only.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "delivery/settings.h"
#include "signatures/signature.h"
#include "signatures/variables.h"
#include "store/database.h"
#include "store/transaction.h"

namespace callhome::service {

// The numbers are in databases.
enum class SignatureState : int {
    loaded = 1,     // is there, but not asked for
    installed = 2,  // runs when its event comes
    finished = 3,   // was installed, and has run as often as it may
};

// What has come of a signature since it was loaded, or since its statistics were cleared.
struct SignatureCounters {
    std::uint32_t runs = 0;
    std::uint32_t dropped_events = 0;  // came while it ran, or too fast
    double total_seconds = 0;          // of all runs together
    double longest_seconds = 0;
    std::int64_t last_run_at = 0;  // 0 for never, as all times here
    std::uint32_t messages_sent = 0;
    std::uint32_t messages_failed = 0;
    std::int64_t last_message_at = 0;
    std::string last_message_result;  // one line
};

struct CatalogueEntry {
    std::uint32_t id = 0;
    std::shared_ptr<const Signature> signature;
    SignatureState state = SignatureState::loaded;
    VariableValues answers;             // to its questions
    std::uint32_t runs_of_install = 0;  // what its limit of executions counts
    std::int64_t loaded_at = 0;
    std::int64_t installed_at = 0;
    SignatureCounters counters;
};

// The value of each variable that has one: the answer where one was asked for, else what the environment
// says, else the default.
VariableValues variables_of(const Signature& signature, const VariableValues& answers,
                            const VariableValues& environment);

// What may run now.
struct InstalledSignature {
    std::uint32_t id = 0;
    std::shared_ptr<const Signature> signature;
    VariableValues variables;
};

// Where in its life a signature has failed; the letters stand in the failure table.
enum class FailureStage : char {
    download = 'D',
    parsing = 'P',
    file = 'F',
    registration = 'R',  // also what fails when it runs
    sign = 'S',
};

struct SignatureFailure {
    std::uint32_t id = 0;  // 0 when nobody knows
    std::string name;      // of the signature or, where it has none yet, of its file
    FailureStage stage = FailureStage::file;
    std::int64_t at = 0;
    std::string why;  // one line
};

// What a limit of executions has done.
enum class AfterRun {
    goes_on,
    deactivated,
    removed,
};

// The numbers are in databases.
enum class DownloadKind : int {
    one = 1,
    all = 2,
};
inline constexpr std::array download_kinds{DownloadKind::one, DownloadKind::all};

struct DownloadCounters {
    std::uint32_t failed = 0;
    std::uint32_t succeeded = 0;
    std::int64_t last_request_at = 0;
};

struct SignatureSettings {
    bool active = false;         // whether any signature runs
    std::string profile;         // the destination profile of downloads and messages; empty for none
    VariableValues environment;  // what signatures may use without asking
};

class Catalogue {
 public:
    using Read = std::function<std::variant<Signature, Refusal>(std::string_view xml)>;

    // Creates what the database lacks and reads the rest into memory. A signature that `read` refuses is
    // left out, and the log says so.
    Catalogue(Database& database, const Read& read, std::function<std::int64_t()> now = wall_clock);

    const SignatureSettings& settings() const { return settings_; }
    const std::map<std::uint32_t, CatalogueEntry>& entries() const { return entries_; }
    const CatalogueEntry* find(std::uint32_t id) const;  // a null pointer for none
    std::string xml_of(std::uint32_t id) const;          // empty for none

    // Those that may run: installed, and signatures are active.
    std::vector<InstalledSignature> runnable() const;
    // Called after each change of what runnable() gives, also from within note_run().
    void when_changed(std::function<void()> changed) { changed_ = std::move(changed); }

    void set_active(bool active);
    void set_profile(const std::string& name);  // empty for none
    void set_variable(const std::string& name, const std::string& value);
    void remove_variable(const std::string& name);

    // All of them, or none. An id that is there already gets the new text; it stays installed while its
    // answers and the environment are all that the new text asks for.
    struct Load {
        Signature signature;
        std::string xml;
    };
    void load(const std::vector<Load>& signatures);
    void install(std::uint32_t id, const VariableValues& answers);
    void remove(std::uint32_t id);
    void remove_all();

    // What comes of the signatures while they run; an id that is gone counts nowhere.
    AfterRun note_run(std::uint32_t id, double seconds);
    void note_dropped_event(std::uint32_t id);
    void note_message(std::uint32_t id, bool sent, const std::string& result);

    // Kept for each id and stage once: the last one. The oldest go when there are too many.
    void note_failure(std::uint32_t id, FailureStage stage, const std::string& why);
    void note_failure(SignatureFailure failure);  // its time is set here
    // Calls with each, the latest first.
    void each_failure(const std::function<void(const SignatureFailure&)>& take) const;

    DownloadCounters downloads(DownloadKind kind) const;
    void note_download_request(DownloadKind kind);
    void note_download_result(DownloadKind kind, bool succeeded);

    // The failures go, too. The counting of executions towards a limit goes on: it is no statistic.
    void clear_run_statistics();
    void clear_download_statistics();

 private:
    void read_entries(const Read& read);
    CatalogueEntry entry_for(const Load& load) const;
    CatalogueEntry* entry(std::uint32_t id);
    void change_downloads(DownloadKind kind, const std::function<void(DownloadCounters&)>& change);
    void changed() const;

    SQLite::Database& connection_;
    Transactions transactions_;
    const std::function<std::int64_t()> now_;
    std::function<void()> changed_;
    SignatureSettings settings_;
    std::map<std::uint32_t, CatalogueEntry> entries_;
    std::map<DownloadKind, DownloadCounters> downloads_;
};

}  // namespace callhome::service
