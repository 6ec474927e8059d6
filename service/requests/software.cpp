#include <cstring>
#include <vector>

#include "requests/fields.h"
#include "requests/functions.h"

namespace callhome::service {
namespace {

using protocol::Status;

bool append(std::vector<std::byte>& body, std::string_view name, std::string_view value) {
    if (body.size() + name.size() + value.size() + 2 >
        sizeof(protocol::SoftwareRecord) + protocol::software_pairs_size) {
        return false;
    }
    for (const std::string_view text : {name, value}) {
        const auto bytes = std::as_bytes(std::span(text));
        body.insert(body.end(), bytes.begin(), bytes.end());
        body.push_back(std::byte{0});
    }
    return true;
}

}  // namespace

Outcome get_next_software(Call& call, const protocol::SoftwareRecord& record) {
    const SoftwarePackage* package = call.software.after(read_text(record.name));
    if (package == nullptr) {
        return Status::no_further_entry;
    }
    protocol::SoftwareRecord answer{};
    write_text(answer.name, package->name);
    std::vector<std::byte> body(sizeof answer);
    for (const auto& [name, value] : package->facts) {
        answer.pairs += append(body, name, value) ? 1U : 0U;
    }
    std::memcpy(body.data(), &answer, sizeof answer);
    call.reply.set_body(body);
    return Status::ok;
}

}  // namespace callhome::service
