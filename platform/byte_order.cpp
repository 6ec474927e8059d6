#include "byte_order.h"

#include <span>
#include <utility>

#include "platform/interface.h"
#include "protocol/layout.h"

namespace callhome::platform {
namespace {

struct HandedOut {
    std::uint32_t opcode = 0;
    const void* record = nullptr;
    std::size_t length = 0;
} handed_out;

}  // namespace

void remember_reply(std::uint32_t opcode, const void* record, std::size_t length) {
    handed_out = {opcode, record, length};
}

}  // namespace callhome::platform

extern "C" void ch_msg_byteorder_convert(uint32_t opcode, void* record) {
    namespace protocol = callhome::protocol;
    using callhome::platform::handed_out;

    const protocol::Exchange* exchange = protocol::find_exchange(opcode);
    if (exchange == nullptr || record == nullptr) {
        return;
    }
    auto* bytes = static_cast<std::byte*>(record);
    if (handed_out.record == record && handed_out.opcode == opcode) {
        const std::size_t length = std::exchange(handed_out, {}).length;
        protocol::convert_byte_order({bytes, length}, exchange->reply);
    } else {
        protocol::convert_byte_order({bytes, exchange->request.size}, exchange->request);
    }
}
