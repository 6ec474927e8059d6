#include "protocol/records/http.h"
#include "callhome/data.h"
#include "callhome/handlers.h"
#include "display/generator.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/text.h"
#include "platform/interface.h"

namespace callhome::library {
namespace {

using protocol::HttpProxyRecord;
using protocol::HttpVrfRecord;
using protocol::Opcode;
using protocol::Status;

constexpr std::uint8_t in_use = 1;  // HttpProxyRecord::enabled

void write_lines(const HttpProxyRecord& proxy) {
    const FieldText server(proxy.server);
    if (server.empty()) {
        return;
    }
    cfgout_buf_printf("transport http proxy server %s port %d\n", server.c_str(),
                      static_cast<int>(proxy.port));
    if (proxy.enabled == in_use) {
        cfgout_buf_printf("transport http proxy enable\n");
    }
    pxd_data_present = 1;
}

void write_lines(const HttpVrfRecord& vrf) {
    const FieldText name(vrf.vrf_name);
    if (name.empty()) {
        return;
    }
    cfgout_buf_printf("transport http use-vrf %s\n", name.c_str());
    pxd_data_present = 1;
}

// Reads a setting of which there is one at most, and writes its lines.
template <typename Record>
std::int32_t generate(Opcode opcode, CommandContext& ctx) {
    cmd_type = class_exec;
    Record request{};
    Reply<Record> reply;
    const ServiceStatus status = reply.ask(opcode, get_operation(), request, ctx);
    if (status == code(Status::not_found)) {
        return code(Status::ok);
    }
    if (status == code(Status::distribution_off)) {
        return status;
    }
    if (status != code(Status::ok)) {
        return generator_failure(status);
    }
    if (reply.record() == nullptr) {
        return incomplete_for_generator(reply.length(), sizeof(Record));
    }
    write_lines(*reply.record());
    return code(Status::ok);
}

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

int32_t callhome_http_proxy_asciigen(CommandContext* ctx) {
    return generate<HttpProxyRecord>(Opcode::http_proxy, *ctx);
}

int32_t callhome_http_vrf_asciigen(CommandContext* ctx) {
    return generate<HttpVrfRecord>(Opcode::http_vrf, *ctx);
}
