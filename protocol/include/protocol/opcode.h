// The numbers that name a request: what it is about (opcode) and what is asked for (operation).
#pragma once

#include <cstdint>

namespace callhome::protocol {

// A retired number stays listed, marked as such, and is never given to something else.
enum class Opcode : std::uint32_t {
    mail_settings = 2152,        // sender addresses and the single SMTP server
    profile_email = 2153,        // e-mail addresses of a destination profile
    destination_profile = 2154,  // format, size, level and transport methods of a profile
    contact_field = 2155,        // one item of contact information, by its MIB name
    feature_state = 2156,        // the feature as a whole: on or off
    send_message = 2157,         // compose and send one message now
    traps = 2188,                // the service's notification traps: on or off
    profile_url = 2190,          // HTTP URLs of a destination profile
    mail_server = 2193,          // the list of mail servers, tried by priority

    // What the service has sent and has still to send. Only this service and its shell know these.
    message_log = 0x4C480,   // walk: one recorded message a reply
    delivery_log = 0x4C481,  // walk: one receiver of one message a reply
    message_text = 0x4C482,  // get: a recorded message, as its receivers see it
    post_alert = 0x4C483,    // set: an alert of the platform; the reply is its outcome as text
};

enum class Operation : std::uint32_t {
    get = 1,               // the entry whose key is in the request
    get_next = 2,          // the entry after that key; an empty key asks for the first one
    set = 3,               // create or change
    remove = 4,            //
    get_pending = 5,       // as get, on the pending copy of a distribution session
    get_next_pending = 6,  // as get_next, on the pending copy
};

}  // namespace callhome::protocol
