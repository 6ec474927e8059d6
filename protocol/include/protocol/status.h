// The result of a request as a whole, and the one text that an operator reads for each.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace callhome::protocol {

// 0 is success, -1 a failed transport, 0x403B0000 + n a refusal by the service.
enum class Status : std::int32_t {
    transport_failed = -1,
    ok = 0,
    malformed_request = 0x403B0001,
    storage_failed = 0x403B0002,
    too_many_connections = 0x403B0003,
    session_open = 0x403B0004,
    commit_in_progress = 0x403B0005,
    commit_interrupted = 0x403B0006,
    configuration_missing = 0x403B0008,
    not_found = 0x403B000B,
    no_further_entry = 0x403B000C,
    already_exists = 0x403B000D,
    limit_reached = 0x403B000E,
    built_in_profile = 0x403B000F,
    permission_denied = 0x403B0010,
    storage_unreadable = 0x403B0012,
    no_system_contact = 0x403B0015,
    no_contact_email = 0x403B0016,
    no_destination = 0x403B0017,
    no_mail_server = 0x403B0018,
    message_in_progress = 0x403B001C,
    not_sent = 0x403B001D,
    no_distribution_session = 0x403B0032,
    distribution_off = 0x403B0034,
    session_locked = 0x403B0035,
    distribution_on = 0x403B003A,
    too_many_user_commands = 0x403B003C,
    conflicts_with_tac_group = 0x403B003D,
    user_command_refused = 0x403B0041,
    skip_entry = 0x403B0046,
};

struct StatusText {
    Status status;
    const char* text;  // one line without a line end; says what to do where something can be done
};

inline constexpr std::array status_texts{
    StatusText{Status::transport_failed, "The call-home service cannot be reached"},
    StatusText{Status::ok, "Success"},
    StatusText{Status::malformed_request,
               "The call-home service does not understand the request; "
               "check that the shell and the service are of the same version"},
    StatusText{Status::storage_failed,
               "The change could not be stored and was not made; check the disk space of the service"},
    StatusText{Status::too_many_connections,
               "The call-home service has no connection to spare; close another session and try again"},
    StatusText{Status::session_open,
               "A distribution session is open; commit it, discard it or clear it first"},
    StatusText{Status::commit_in_progress,
               "A commit is under way; look at \"show callhome last action status\" and try again"},
    StatusText{Status::commit_interrupted,
               "The call-home service ended while the commit was under way; nothing was changed and the "
               "session is still open, so commit again"},
    StatusText{Status::configuration_missing,
               "Call-home needs this configuration while it is enabled; disable it first to remove it"},
    StatusText{Status::not_found, "There is no such entry; check its name, or create it first"},
    StatusText{Status::no_further_entry, "There is no further entry"},
    StatusText{Status::already_exists, "The entry exists already"},
    StatusText{Status::limit_reached, "The limit of entries is reached; remove one first"},
    StatusText{Status::built_in_profile,
               "A built-in destination profile cannot be removed or changed in this way"},
    StatusText{Status::permission_denied,
               "Permission denied: only root and members of the group callhome may change things"},
    StatusText{Status::storage_unreadable,
               "The call-home service cannot read its database; "
               "look at \"show callhome information state\" and at its log"},
    StatusText{Status::no_system_contact, "The system contact is not set"},
    StatusText{Status::no_contact_email, "The contact person's e-mail address is not set"},
    StatusText{Status::no_destination, "No destination profile has an address to send messages to"},
    StatusText{Status::no_mail_server,
               "A destination profile sends e-mail, but no e-mail server is configured"},
    StatusText{Status::message_in_progress,
               "A call-home message is being processed; try again in a moment"},
    StatusText{Status::not_sent, "The call-home message could not be sent"},
    StatusText{Status::no_distribution_session, "No distribution session is open"},
    StatusText{Status::distribution_off, "Distribution is off"},
    StatusText{Status::session_locked, "The distribution session is locked by another switch or user"},
    StatusText{Status::distribution_on, "This cannot be changed while distribution is on"},
    StatusText{Status::too_many_user_commands, "The alert group has too many user commands"},
    StatusText{Status::conflicts_with_tac_group, "The command conflicts with the alert group ZUVA-TAC"},
    StatusText{Status::user_command_refused,
               "The user command is configured already, or is not a show command"},
    StatusText{Status::skip_entry, "The entry is to be skipped"},
};

// The text of a status, or a null pointer for a number that is not the service's.
constexpr const char* text_of(Status status) {
    for (const StatusText& row : status_texts) {
        if (row.status == status) {
            return row.text;
        }
    }
    return nullptr;
}

}  // namespace callhome::protocol
