#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/text.h"
#include "protocol/records/inventory.h"

namespace callhome::library {
namespace {

using protocol::Opcode;
using protocol::Operation;
using protocol::SoftwareRecord;
using protocol::Status;

// More pieces of software than a switch has: a walk that is longer goes in circles.
constexpr int longest_walk = 65536;

// The texts behind the record of a reply, one after the other, as far as they came with a terminator.
class PackedTexts {
 public:
    explicit PackedTexts(const Reply<SoftwareRecord>& reply) : reply_(reply) {}

    const char* next() {
        const char* text = reply_.text_from(offset_);
        const std::size_t room = reply_.length() - offset_;
        const std::size_t length = strnlen(text, room);
        if (length == room) {
            return nullptr;
        }
        offset_ += static_cast<std::uint32_t>(length + 1);
        return text;
    }

 private:
    const Reply<SoftwareRecord>& reply_;
    std::uint32_t offset_ = sizeof(SoftwareRecord);
};

constexpr const char* list_ends_here = "the list ends here";

// Prints one piece of software; the handler's result.
std::uint32_t print_software(const Reply<SoftwareRecord>& reply, const SoftwareRecord& software) {
    std::printf("\nService Name : %s\n", FieldText(software.name).c_str());
    PackedTexts texts(reply);
    for (std::uint32_t pair = 0; pair < software.pairs; ++pair) {
        const char* name = texts.next();
        const char* value = name == nullptr ? nullptr : texts.next();
        if (value == nullptr) {
            std::fprintf(stderr,
                         "The answer of the call-home service was incomplete (%" PRIu32 " of %" PRIu32
                         " pairs of %s); %s\n",
                         pair, software.pairs, FieldText(software.name).c_str(), list_ends_here);
            return failed;
        }
        std::printf("Name : %s - Value : %s\n", name, value);
    }
    return done;
}

std::uint32_t report_circle() {
    std::fprintf(stderr, "The list of software has no end; %s\n", list_ends_here);
    return failed;
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t callhome_show_sw_inventory(CommandContext* ctx) {
    std::puts("Software Inventory");
    cmd_type = class_exec;
    std::string last_name;
    for (int pieces = 0; pieces < longest_walk; ++pieces) {
        SoftwareRecord key{};
        copy_text(key.name, last_name.c_str());
        Reply<SoftwareRecord> reply;
        const ServiceStatus status = reply.ask(Opcode::software_inventory, Operation::get_next, key, *ctx);
        if (status == code(Status::no_further_entry)) {
            std::puts("");
            return done;
        }
        if (status != code(Status::ok)) {
            return report(status);
        }
        const SoftwareRecord* software = reply.record();
        if (software == nullptr) {
            return report_incomplete(reply.length(), sizeof *software, list_ends_here);
        }
        if (FieldText(software->name).c_str() == last_name) {
            return report_circle();
        }
        if (print_software(reply, *software) != done) {
            return failed;
        }
        last_name = FieldText(software->name).c_str();
    }
    return report_circle();
}
