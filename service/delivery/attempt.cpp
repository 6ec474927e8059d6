#include "delivery/attempt.h"

#include "delivery/http_client.h"
#include "delivery/smtp_client.h"
#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr const char* no_route =
    "no mail server is configured; name one with 'transport email mail-server HOST'";

// Each server in turn until one takes the mail or refuses it for good. When none does, the reasons of all
// are told: the first server is usually the one that matters.
Outcome attempt_mail(const DeliveryJob& job, const TransferLimits& limits, const std::stop_token& stop) {
    if (!is_plain_address(job.receiver)) {
        return {Verdict::refused, "", "this is not an e-mail address that mail can be sent to"};
    }
    Outcome failed{Verdict::postponed, "", no_route};
    for (const MailRoute& route : job.routes) {
        if (stop.stop_requested()) {
            return {Verdict::stopped, "", ""};
        }
        Outcome next = send_by_smtp(job, route, limits, stop);
        if (next.verdict != Verdict::postponed) {
            return next;
        }
        failed = &route == &job.routes.front()
                     ? std::move(next)
                     : Outcome{Verdict::postponed, "", failure_of(failed) + "; " + failure_of(next)};
    }
    return failed;
}

}  // namespace

std::string failure_of(const Outcome& outcome) {
    return outcome.through.empty() ? outcome.reason : outcome.through + ": " + outcome.reason;
}

Outcome attempt(const DeliveryJob& job, const TransferLimits& limits, const std::stop_token& stop) {
    return job.carrier == Carrier::smtp ? attempt_mail(job, limits, stop) : post_by_http(job, limits, stop);
}

}  // namespace callhome::service
