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
    alert_group = 2162,          // alert groups that a destination profile subscribes to
    software_inventory = 2172,   // walk: one installed piece of software a reply
    duplicate_throttle = 2173,   // throttling of duplicate messages: on or off
    periodic_inventory = 2175,   // inventory messages that are sent by themselves
    distribution = 2177,         // distribution of the configuration: on or off
    commit = 2179,               // ending the distribution session, and what came of it
    clear_session = 2182,        // dropping a distribution session
    user_command = 2185,         // commands whose output goes with an alert group's messages
    traps = 2188,                // the service's notification traps: on or off
    profile_url = 2190,          // HTTP URLs of a destination profile
    mail_server = 2193,          // the list of mail servers, tried by priority
    http_vrf = 2194,             // the VRF that HTTP goes through
    http_proxy = 2195,           // the proxy that HTTP goes through

    service_info = 0x4C404,           // get: what the service tells of itself, as text
    signature_view = 0x4C405,         // get: a text about the diagnostic signatures
    message_statistics = 0x4C407,     // get: clears counters of the sending of messages
    signatures_active = 0x4C408,      // whether diagnostic signatures may run
    signature_profile = 0x4C409,      // the destination profile that carries their downloads
    signature_environment = 0x4C40A,  // the variables that they read
    signature_statistics = 0x4C40B,   // set: clears statistics of the signatures
    signature_action = 0x4C40C,       // set: loads, downloads, installs or removes signatures
    data_privacy = 0x4C40D,           // how much identifying data messages carry

    // What the service has sent and has still to send. Only this service and its shell know these.
    message_log = 0x4C480,    // walk: one recorded message a reply
    delivery_log = 0x4C481,   // walk: one receiver of one message a reply
    message_text = 0x4C482,   // get: a recorded message, as its receivers see it
    post_alert = 0x4C483,     // set: an alert of the platform; the reply is its outcome as text
    session_state = 0x4C484,  // get: who holds the distribution session, and how the last one ended

    // What support asks the service for; likewise.
    trace_buffer = 0x4C485,       // get: the lines of a trace buffer, as text
    memory_statistics = 0x4C486,  // get: what the service's memory and store hold, as text

    // How deliveries have fared, and what is done about them; likewise.
    queue_state = 0x4C487,         // get: what waits, as a whole
    profile_statistics = 0x4C488,  // get: how the deliveries of a destination profile have fared
    clear_queue = 0x4C489,         // set: gives up all that waits
    resend_message = 0x4C48A,      // set: sends a recorded message again
    message_tail = 0x4C48B,        // get: where a walk over the newest messages begins
    message_preview = 0x4C48C,     // get: what a message would be, without sending it
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
