#include "delivery/attempt.h"

#include "delivery/http_client.h"
#include "delivery/http_way.h"
#include "delivery/smtp_client.h"
#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr const char* no_route =
    "no mail server is configured; name one with 'transport email mail-server HOST'";

std::string joined(const std::vector<FailedServer>& failures) {
    std::string text;
    for (const FailedServer& failed : failures) {
        text += (text.empty() ? "" : "; ") + failed.failure;
    }
    return text;
}

// Each server in turn until one takes the mail or refuses it for good. When none does, the reasons of all
// are told: the first server is usually the one that matters.
Outcome attempt_mail(const DeliveryJob& job, const TransferLimits& limits, const std::stop_token& stop,
                     KeptConnection& kept) {
    if (!is_plain_address(job.receiver)) {
        return {Verdict::refused, "", "this is not an e-mail address that mail can be sent to"};
    }
    std::vector<FailedServer> failures;
    for (const MailRoute& route : job.routes) {
        if (stop.stop_requested()) {
            return {Verdict::stopped, "", ""};
        }
        Outcome next = send_by_smtp(job, route, limits, stop, kept);
        if (next.verdict != Verdict::postponed) {
            next.failed_before = std::move(failures);
            return next;
        }
        failures.push_back({name_of(route), failure_of(next), next.is_server_down});
        if (job.routes.size() == 1) {
            return next;
        }
    }
    return {Verdict::postponed, "", failures.empty() ? no_route : joined(failures)};
}

}  // namespace

std::string failure_of(const Outcome& outcome) {
    return outcome.through.empty() ? outcome.reason : outcome.through + ": " + outcome.reason;
}

std::vector<std::string> places_of(const DeliveryJob& job) {
    if (job.carrier == Carrier::http) {
        return {place_of(job.http, job.receiver)};
    }
    std::vector<std::string> places;
    for (const MailRoute& route : job.routes) {
        places.push_back(place_of(route));
    }
    return places;
}

Outcome attempt(const DeliveryJob& job, const TransferLimits& limits, const std::stop_token& stop,
                KeptConnection& kept) {
    const auto begin = std::chrono::steady_clock::now();
    Outcome outcome = job.carrier == Carrier::smtp ? attempt_mail(job, limits, stop, kept)
                                                   : post_by_http(job, limits, stop, kept);
    outcome.took =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
    return outcome;
}

}  // namespace callhome::service
