#include "messages/reply_text.h"

#include <fmt/format.h>

#include <algorithm>

#include "messages/text.h"

namespace callhome::service {
namespace {

std::string who(const ReceiverName& receiver) {
    return fmt::format("{} (profile {})", clean_line(receiver.address), clean_line(receiver.profile));
}

std::string failure_line(std::string_view wording, const ReceiverName& receiver, const Outcome& outcome,
                         std::string_view consequence) {
    return fmt::format("Could not send the {} callhome message to {}: {}; {}", wording, who(receiver),
                       failure_of(outcome), consequence);
}

std::string refusal_line(std::string_view wording, const ReceiverName& receiver, const Outcome& outcome) {
    if (outcome.through.empty()) {
        return failure_line(wording, receiver, outcome, "it will not be tried again");
    }
    return fmt::format("The {} callhome message to {} was refused by {}: {}; it will not be tried again",
                       wording, who(receiver), outcome.through, outcome.reason);
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += (text.empty() ? "" : "\n") + line;
    }
    return text;
}

std::string omission(std::size_t count) {
    return fmt::format(
        "{} more receivers are not listed here; see 'show callhome queue' and "
        "'show callhome messages'",
        count);
}

std::string times(std::size_t count) {
    return count == 1 ? "once" : fmt::format("{} times", count);
}

// By what the wall clock shows now, wherever it stood then.
std::int64_t time_ago(std::chrono::milliseconds ago, std::int64_t now) {
    return now - std::chrono::duration_cast<std::chrono::seconds>(ago).count();
}

}  // namespace

std::string report_line(std::string_view wording, const ReceiverName& receiver,
                        const AttemptReport& report) {
    const Outcome& outcome = report.outcome;
    if (outcome.verdict == Verdict::delivered) {
        return fmt::format("Successfully sent {} callhome message to {}{}", wording, who(receiver),
                           outcome.through.empty() ? "" : " through " + outcome.through);
    }
    if (outcome.verdict == Verdict::refused) {
        return refusal_line(wording, receiver, outcome);
    }
    if (report.state != protocol::DeliveryState::waiting) {
        return failure_line(wording, receiver, outcome, "it was tried for too long and is given up");
    }
    return failure_line(wording, receiver, outcome,
                        fmt::format("it stays in the queue, next try in {} seconds", report.pause.count()));
}

std::string unfinished_line(std::string_view wording, const ReceiverName& receiver) {
    return fmt::format("The {} callhome message to {} is still being sent; see 'show callhome queue'",
                       wording, who(receiver));
}

std::string duplicate_line(std::string_view wording, const Repeats& repeats,
                           std::chrono::milliseconds window, std::int64_t now) {
    return fmt::format(
        "The {} callhome message was not sent: the same event had its message at {} and has come {} since "
        "then; the next message, from {} on, tells how often",
        wording, iso_time(time_ago(repeats.ago, now)), times(repeats.count),
        iso_time(time_ago(repeats.ago - window, now)));
}

std::string repeats_text(const Repeats& repeats, std::int64_t now) {
    return repeats.count == 0
               ? ""
               : fmt::format("{} since {}", times(repeats.count), iso_time(time_ago(repeats.ago, now)));
}

std::string failed_server_line(std::string_view failure) {
    return fmt::format("A mail server failed, and another one took the mail: {}", clean_line(failure));
}

std::string join_reply(const std::vector<ReplyLine>& lines, std::size_t size) {
    std::vector<std::string> texts;
    std::size_t length = 0;
    for (const ReplyLine& line : lines) {
        texts.push_back(line.text);
        length += line.text.size() + 1;
    }
    if (length <= size + 1) {
        return joined(texts);
    }
    std::vector<ReplyLine> sorted = lines;
    std::stable_partition(sorted.begin(), sorted.end(),
                          [](const ReplyLine& line) { return !line.delivered; });
    texts.clear();
    length = omission(lines.size()).size();
    for (const ReplyLine& line : sorted) {
        length += line.text.size() + 1;
        if (length > size) {
            break;
        }
        texts.push_back(line.text);
    }
    texts.push_back(omission(lines.size() - texts.size()));
    return std::string(cut_to(joined(texts), size));
}

}  // namespace callhome::service
