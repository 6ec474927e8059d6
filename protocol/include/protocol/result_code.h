// What came of an action, as a number inside a reply record: the feature in general, then diagnostic
// signatures. The library has the texts.
#pragma once

#include <cstdint>

namespace callhome::protocol {

enum class ResultCode : std::uint32_t {
    ok = 0,
    failed = 1,
    out_of_memory = 2,
    queue_refused = 3,
    no_change = 4,
    store_failed = 5,
    no_element = 6,
    profile_disabled = 7,
    address_exists = 9,
    address_missing = 10,
    profile_without_address = 11,
    profile_without_usable_address = 12,
    profile_exists = 16,
    profile_missing = 17,
    no_profile_for_message = 18,
    event_group_missing = 21,
    transport_method_invalid = 22,
    pattern_invalid = 23,    // not a regular expression
    cron_invalid = 24,       // not five fields of numbers, ranges, lists and steps
    parameter_invalid = 25,  // a number or choice outside its range
    http_answer_invalid = 26,
    message_not_sent = 32,
    feature_disabled = 33,
    http_answer_unreadable = 38,
    request_not_understood = 46,
    resource_missing = 49,
    timed_out = 50,
    file_not_opened = 54,
    file_not_read = 55,

    signature_ok = 1000,
    action_wrong = 1001,   // an action that signatures may not take
    action_failed = 1002,  // a command ended badly
    cannot_run = 1003,     // for example: the software is too old for it
    copy_failed = 1004,
    environment_missing = 1005,  // no value is set for a variable, and it has no default
    event_missing = 1006,        // it names no event
    event_not_watched = 1007,
    event_script_unsupported = 1008,
    event_composer_missing = 1009,
    event_incomplete = 1010,  // an event of a known kind without what it needs
    execution_limit_reached = 1011,
    file_not_written = 1012,
    id_invalid = 1013,
    signature_invalid = 1014,  // an element is missing, repeated or out of place, or its text is wrong
    event_tag_invalid = 1015,  // an event of no known kind
    timer_tag_invalid = 1016,  // a timer of no known kind
    signature_missing = 1017,
    over_length = 1018,     // the file, a text or a list is too long
    xml_unreadable = 1019,  // not well-formed, nested too deep, or with a document type
    folder_missing = 1020,
    not_registered = 1021,
    multiple_events = 1022,
    single_event_not_watched = 1023,
    requisite_exists = 1024,
    requisite_skipped = 1025,
    script_file_not_made = 1026,
    variable_name_invalid = 1027,
    variable_unresolved = 1028,  // a text or command uses a variable that has no value
    tag_unsupported = 1029,      // an element or attribute that signatures do not have
    prompt_value_invalid = 1030,
    prompt_missing = 1031,
    not_trusted = 1032,  // no signature beside it, or none that a key vouches for
};

}  // namespace callhome::protocol
