// What a message would be: composed as if it were to be sent, for an operator to look at.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <asio/io_context.hpp>

#include "commands/command_series.h"
#include "delivery/queue.h"
#include "protocol/status.h"
#include "store/configuration.h"

namespace callhome::service {

struct PreviewRequest {
    std::string type;     // name of a message type, of an operator's message or of an alert
    std::string profile;  // empty for all that take it
    std::string requested_by;
};

// Called once, on the io_context's thread. Ok and at least one message; otherwise why there is none.
using PreviewDone =
    std::function<void(protocol::Status, const std::string& why, const std::vector<NewMessage>& messages)>;

// Has the operator's commands run, as a message has; sends and records nothing.
class Previewer {
 public:
    // At most so many previews wait for their commands. All references must outlive this object.
    Previewer(asio::io_context& io, const Configuration& configuration, CommandSeries& commands,
              const SeriesLimits& limits, std::size_t most_open, std::function<std::int64_t()> now)
        : io_(io),
          configuration_(configuration),
          commands_(commands),
          limits_(limits),
          most_open_(most_open),
          now_(std::move(now)) {}

    // not_found for a profile that there is not, malformed_request for an unknown type, not_sent where no
    // profile (or not this one) takes the message, limit_reached.
    void preview(const PreviewRequest& request, PreviewDone done);

 private:
    void refuse(PreviewDone done, protocol::Status status, std::string why);
    void compose(const PreviewRequest& request, const std::vector<CommandOutput>& outputs,
                 const PreviewDone& done) const;

    asio::io_context& io_;
    const Configuration& configuration_;
    CommandSeries& commands_;
    const SeriesLimits limits_;
    const std::size_t most_open_;
    const std::function<std::int64_t()> now_;
    std::size_t open_ = 0;
};

}  // namespace callhome::service
