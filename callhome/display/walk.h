// Walking through the destination profiles, and through the addresses and alert groups of one of them.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "display/generator.h"
#include "frame/reply.h"
#include "frame/text.h"
#include "platform/interface.h"
#include "protocol/records/alert_group.h"
#include "protocol/records/destination_profile.h"

namespace callhome::library {

// Requests: more than any list has entries, removed ones included.
inline constexpr int longest_profile_walk = 16384;

enum class Reader : std::uint8_t {
    display,    // asks for the entry behind a name and an index
    generator,  // sends the whole last entry back; a copy that does not exist has no further entry
};

enum class Step : std::uint8_t {
    entry,
    end,            // no further entry
    other_profile,  // the service has gone on to the entries of another profile
    refused,
    incomplete,  // the answer ended before its record
    endless,     // the service goes in circles
};

constexpr bool is_failure(Step step) {
    return step == Step::refused || step == Step::incomplete || step == Step::endless;
}

template <std::size_t size>
bool is_same_text(const char (&left)[size], const char (&right)[size]) {
    return std::strncmp(left, right, size) == 0;
}

// Record is ProfileRecord, AddressRecord or SubscriptionRecord.
template <typename Record>
class Walk {
 public:
    // The entries of a profile; of the profiles themselves with an empty name.
    Walk(protocol::Opcode opcode, protocol::Operation operation, Reader reader, const char* profile)
        : opcode_(opcode), operation_(operation), reader_(reader) {
        copy_text(last_.name, profile);
    }

    // Asks for the next entry, past those that are to be skipped.
    Step next(CommandContext& ctx) {
        while (++requests_ <= longest_profile_walk) {
            Record request = last_;  // converted by the exchange; the last entry stays as it is
            status_ = reply_.ask(opcode_, operation_, request, ctx);
            if (is_at_end()) {
                return Step::end;
            }
            if (is_of_another_profile()) {
                return Step::other_profile;
            }
            if (!is_to_be_skipped()) {
                return take_entry();
            }
            if (!skip_entry()) {
                return Step::endless;
            }
        }
        return Step::endless;
    }

    // After Step::entry.
    const Record& entry() { return *reply_.record(); }

    // What the last request came to.
    [[nodiscard]] ServiceStatus status() const { return status_; }
    [[nodiscard]] std::uint32_t length() const { return reply_.length(); }
    [[nodiscard]] protocol::Opcode opcode() const { return opcode_; }

 private:
    static constexpr bool of_profiles = std::is_same_v<Record, protocol::ProfileRecord>;
    static constexpr bool of_addresses = std::is_same_v<Record, protocol::AddressRecord>;

    [[nodiscard]] bool is_at_end() const {
        return status_ == code(protocol::Status::no_further_entry) ||
               (reader_ == Reader::generator && ends_walk(status_));
    }

    bool is_of_another_profile() {
        return !of_profiles && reply_.record() != nullptr &&
               !is_same_text(reply_.record()->name, last_.name);
    }

    [[nodiscard]] bool is_to_be_skipped() const {
        return of_addresses && status_ == code(protocol::Status::skip_entry);
    }

    Step take_entry() {
        if (status_ != code(protocol::Status::ok)) {
            return Step::refused;
        }
        if (reply_.record() == nullptr) {
            return Step::incomplete;
        }
        return go_behind(*reply_.record()) ? Step::entry : Step::endless;
    }

    // A skipped entry came with a refusal, so its record, if any, is still in transport order.
    bool skip_entry() {
        if constexpr (!of_profiles) {
            if (reader_ == Reader::generator && reply_.record() != nullptr) {
                ch_msg_byteorder_convert(static_cast<std::uint32_t>(opcode_), reply_.record());
                return go_behind(*reply_.record());
            }
            ++last_.index;
        }
        return true;
    }

    // False when `found` is not behind the entry that was asked from.
    bool go_behind(const Record& found) {
        if constexpr (of_profiles) {
            const bool is_another = !is_same_text(found.name, last_.name);
            copy_text(last_.name, FieldText(found.name).c_str());
            return is_another;
        } else {
            const bool rises = found.index > last_.index;
            if (reader_ == Reader::generator) {
                last_ = found;
            }
            last_.index = found.index;
            return rises;
        }
    }

    protocol::Opcode opcode_;
    protocol::Operation operation_;
    Reader reader_;
    Record last_{};  // the entry to go on from, in host order
    Reply<Record> reply_;
    ServiceStatus status_ = 0;
    int requests_ = 0;
};

// The names of the lists, for messages.
constexpr const char* name_of_list(protocol::Opcode opcode) {
    switch (opcode) {
        case protocol::Opcode::profile_email:
            return "e-mail addresses";
        case protocol::Opcode::profile_url:
            return "URLs";
        case protocol::Opcode::alert_group:
            return "alert groups";
        default:
            return "destination profiles";
    }
}

// What an entry of a list says.
inline FieldText<sizeof protocol::AddressRecord::address> text_of(const protocol::AddressRecord& entry) {
    return FieldText(entry.address);
}
inline FieldText<sizeof protocol::SubscriptionRecord::group> text_of(
    const protocol::SubscriptionRecord& entry) {
    return FieldText(entry.group);
}

}  // namespace callhome::library
