// Diagnostic signatures: small signed files that name an event and the commands whose output explains it.
// Also what the service tells of itself as text.
#pragma once

#include "protocol/record.h"

namespace callhome::protocol {

enum class SignatureAction : std::uint32_t {
    deinstall = 30,
    download = 31,
    install = 32,          // the reply holds the questions to ask before
    install_answers = 33,  // sends that reply back, with the answers in it
    load_file = 34,
};

inline constexpr std::uint32_t all_signatures = 0;  // DsActionRecord::ds_id of download and deinstall

struct [[gnu::packed]] DsActionRecord {
    std::uint32_t action;  // SignatureAction
    std::uint32_t ds_id;
    char file_name[201];        // load_file only
    std::uint32_t status;       // reply: result code, 0 for success
    std::uint32_t entry_count;  // reply to install: DsQuestionRecords that follow
};
CALLHOME_RECORD(DsActionRecord, 217, action, ds_id, file_name, status, entry_count);

struct [[gnu::packed]] DsQuestionRecord {
    std::uint8_t key[16];  // the service's own; sent back as it came
    char answer[128];      // the default at first, then what the user answered
    char prompt[128];
    char result[128];  // reply to the answers: what is wrong with this one; empty for nothing
};
CALLHOME_RECORD(DsQuestionRecord, 400, key, answer, prompt, result);

inline constexpr std::uint32_t most_questions = 64;  // of one signature
inline constexpr std::size_t all_questions_size = most_questions * sizeof(DsQuestionRecord);

enum class SignatureStatistics : std::uint32_t {
    run_time = 20,  // and the failures
    downloads = 21,
};

struct [[gnu::packed]] DsStatsClearRecord {
    std::uint32_t statistics;  // SignatureStatistics
};
CALLHOME_RECORD(DsStatsClearRecord, 4, statistics);

struct [[gnu::packed]] DsEnvironmentRecord {
    char name[16];
    char value[128];
    std::uint32_t status;  // reply: result code
    std::uint8_t reserved;
};
CALLHOME_RECORD(DsEnvironmentRecord, 149, name, value, status, reserved);

struct [[gnu::packed]] DsProfileRecord {
    char profile_name[32];  // the destination profile that carries downloads
    std::uint32_t status;   // reply: result code
    std::uint8_t reserved;
};
CALLHOME_RECORD(DsProfileRecord, 37, profile_name, status, reserved);

struct [[gnu::packed]] DsActiveRecord {
    std::uint8_t active;  // 1 when signatures may run
    std::uint8_t reserved[4];
};
CALLHOME_RECORD(DsActiveRecord, 5, active, reserved);

// The texts that a display of signatures asks for. The reply is text.
enum class SignatureView : std::uint32_t {
    settings = 1,  // and the downloaded signatures
    description = 2,
    xml = 3,
    events = 4,
    prompts = 5,
    actions = 6,
    state = 7,
    messages = 8,
    failures = 9,
    run_time = 10,
    downloads = 11,
};

struct [[gnu::packed]] DsShowRequest {
    std::uint32_t view;   // SignatureView
    std::uint32_t ds_id;  // of the description; 0 for all
};
CALLHOME_RECORD(DsShowRequest, 8, view, ds_id);

// Of the messages that have left, or have not, since the counters were cleared.
enum class MessageCounters : std::uint32_t {
    sent = 1,
    failed = 2,
};

struct [[gnu::packed]] MsgStatsClearRecord {
    std::uint32_t counters;  // MessageCounters
    std::uint32_t status;    // reply: result code
};
CALLHOME_RECORD(MsgStatsClearRecord, 8, counters, status);

// What the service tells of itself. The reply is text.
enum class ServiceInfo : std::uint32_t {
    version = 0x01000000,
    state = 0x02000000,
    connections = 0x03000000,
    queue = 0x04000000,
    store = 0x05000000,
    memory = 0x06000000,
    configuration = 0x07000000,
    licences = 0x08000000,
};

struct [[gnu::packed]] ServiceInfoRequest {
    std::uint32_t info_type;  // ServiceInfo
};
CALLHOME_RECORD(ServiceInfoRequest, 4, info_type);

}  // namespace callhome::protocol
