#include <array>

#include "callhome/data.h"
#include "callhome/handlers.h"
#include "frame/keywords.h"
#include "frame/outcome.h"
#include "frame/reply.h"
#include "frame/tokens.h"
#include "protocol/records/signature.h"
#include "signature/request.h"

namespace callhome::library {
namespace {

using protocol::DsStatsClearRecord;
using protocol::Opcode;
using protocol::Operation;
using protocol::Status;

struct StatisticsKeyword {
    std::uint32_t keyword;
    std::uint32_t statistics;  // as the record names them
};

constexpr std::array statistics_keywords{
    StatisticsKeyword{keyword_statistics_run_time, 20},
    StatisticsKeyword{keyword_statistics_download, 21},
};

}  // namespace
}  // namespace callhome::library

using namespace callhome::library;

uint32_t ch_clear_gch_ds_statistics(CommandContext* ctx) {
    if (is_refused(*ctx)) {
        return failed;
    }
    cmd_type = class_exec;
    DsStatsClearRecord record{};
    for (const TokenRecord& token : Tokens(*ctx)) {
        for (const StatisticsKeyword& row : statistics_keywords) {
            if (token.keyword_id == row.keyword) {
                record.statistics = row.statistics;
            }
        }
    }
    const ServiceStatus status = send_record(Opcode::signature_statistics, Operation::set, record, *ctx);
    return status == code(Status::ok) ? done : report_failed_exchange();
}
