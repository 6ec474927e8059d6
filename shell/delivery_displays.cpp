#include "delivery_displays.h"

#include <cstdio>
#include <string>

#include "built_ins.h"
#include "columns.h"

namespace callhome::shell {

namespace {

using platform::PreviewRow;
using platform::ProfileStatistics;
using platform::QueueState;
using enum platform::ValueType;

constexpr std::uint32_t done = 0;
constexpr std::uint32_t failed = 1;

template <auto text_of, typename Row>
Cell made_by(const Row& row) {
    return text_of(row);
}

std::string of_at_most(std::uint32_t number, std::uint32_t most) {
    return std::to_string(number) + " of at most " + std::to_string(most);
}

std::string messages_text(const QueueState& state) {
    return of_at_most(state.messages, state.most_messages);
}

std::string bytes_text(const QueueState& state) {
    return of_at_most(state.bytes, state.most_bytes);
}

std::string trouble_text(const QueueState& state) {
    return printable(state.trouble, KeepLineEnds::no);
}

std::string storage_text(const QueueState& state) {
    return state.is_degraded
               ? "degraded since " + local_time({state.degraded_since}) + ": " + trouble_text(state)
               : "in order";
}

constexpr std::string_view is_degraded_place = "storage/is_degraded";
constexpr Column<QueueState> queue_facts[] = {
    {"messages", "", text, made_by<messages_text, QueueState>},
    {"", "totals/messages", number, cell_of<QueueState, &QueueState::messages>},
    {"", "totals/most_messages", number, cell_of<QueueState, &QueueState::most_messages>},
    {"receivers", "totals/receivers", number, cell_of<QueueState, &QueueState::deliveries>},
    {"bytes", "", text, made_by<bytes_text, QueueState>},
    {"", "totals/bytes", number, cell_of<QueueState, &QueueState::bytes>},
    {"", "totals/most_bytes", number, cell_of<QueueState, &QueueState::most_bytes>},
    {"dropped so far", "totals/dropped", number, cell_of<QueueState, &QueueState::dropped>},
    {"storage", "", text, made_by<storage_text, QueueState>},
    {"", "storage/degraded_since", time, time_of<QueueState, &QueueState::degraded_since>},
    {"", "storage/trouble", text, made_by<trouble_text, QueueState>},
};

std::string error_text(const ProfileStatistics& figures) {
    return printable(figures.last_error, KeepLineEnds::no);
}

// Nothing before something has arrived.
std::string latency_text(const ProfileStatistics& figures) {
    if (figures.sent == 0) {
        return "";
    }
    return std::to_string(figures.last_latency) + " ms the last one, " +
           std::to_string(figures.mean_latency) + " ms on average, " +
           std::to_string(figures.most_latency) + " ms at most";
}

// Likewise.
template <auto member>
Cell latency(const ProfileStatistics& figures) {
    return figures.sent == 0 ? Cell(std::string()) : Cell(figures.*member);
}

constexpr Column<ProfileStatistics> statistics_facts[] = {
    {"profile", "profile", text, cell_of<ProfileStatistics, &ProfileStatistics::profile>},
    {"sent", "sent", number, cell_of<ProfileStatistics, &ProfileStatistics::sent>},
    {"failed and then delivered", "recovered", number,
     cell_of<ProfileStatistics, &ProfileStatistics::recovered>},
    {"lost", "lost", number, cell_of<ProfileStatistics, &ProfileStatistics::lost>},
    {"waiting", "waiting", number, cell_of<ProfileStatistics, &ProfileStatistics::waiting>},
    {"last error", "last_error", text, made_by<error_text, ProfileStatistics>},
    {"last error at", "last_error_at", time, time_of<ProfileStatistics, &ProfileStatistics::last_error_at>},
    {"last success at", "last_success_at", time,
     time_of<ProfileStatistics, &ProfileStatistics::last_success_at>},
    {"latency", "", text, made_by<latency_text, ProfileStatistics>},
    {"", "latency/last_ms", number, latency<&ProfileStatistics::last_latency>},
    {"", "latency/mean_ms", number, latency<&ProfileStatistics::mean_latency>},
    {"", "latency/most_ms", number, latency<&ProfileStatistics::most_latency>},
    {"counted since", "since", time, time_of<ProfileStatistics, &ProfileStatistics::since>},
};

std::string preview_text(const PreviewRow& row) {
    return printable(row.text, KeepLineEnds::yes);
}

constexpr std::string_view left_out_place = "left_out";
constexpr std::string_view preview_list = "messages[]";
constexpr Column<PreviewRow> preview_columns[] = {
    {"", "messages[]/profile", text, cell_of<PreviewRow, &PreviewRow::profile>},
    {"", "messages[]/format", text, cell_of<PreviewRow, &PreviewRow::format>},
    {"", "messages[]/transport", text, cell_of<PreviewRow, &PreviewRow::transport>},
    {"", "messages[]/receivers", text, cell_of<PreviewRow, &PreviewRow::receivers>},
    {"", "messages[]/bytes", number, cell_of<PreviewRow, &PreviewRow::size>},
    {"", "messages[]/subject", text, cell_of<PreviewRow, &PreviewRow::subject>},
    {"", "messages[]/text", text, made_by<preview_text, PreviewRow>},
};

void print_preview(const PreviewRow& row) {
    const std::string head = "Profile " + row.profile + ", " + row.format + " by " + row.transport + ", " +
                             std::to_string(row.size) + " bytes, to " + row.receivers;
    std::string shown = preview_text(row);
    if (!shown.ends_with('\n')) {
        shown += '\n';
    }
    std::printf("%s\n\n%s\n", printable(head, KeepLineEnds::no).c_str(), shown.c_str());
}

// The reason that came with a refusal, or the text of its status.
std::uint32_t refused(ServiceStatus status, const std::string& why) {
    if (status < 0 || why.empty()) {
        (void)succeeded(status);
        return failed;
    }
    const std::string line = printable(why, KeepLineEnds::no);
    if (platform::is_output_structured()) {
        platform::set_value(platform::error_lines, line);
    } else {
        std::puts(line.c_str());
    }
    return failed;
}

// "1 receiver is", "2 receivers are"
std::string receivers(std::uint32_t count, const char* one, const char* many) {
    return std::to_string(count) + (count == 1 ? " receiver " : " receivers ") + (count == 1 ? one : many);
}

std::string token_text(const ParsedToken& token) {
    return std::get<std::string>(token.value.value);
}

}  // namespace

std::uint32_t show_profile_statistics(Session&, const ParsedCommand& command) {
    ProfileStatistics figures;
    if (!succeeded(platform::read_profile_statistics(token_text(command.tokens.front()), figures))) {
        return failed;
    }
    show_facts<ProfileStatistics>(statistics_facts, figures);
    return done;
}

std::uint32_t show_preview(Session&, const ParsedCommand& command) {
    constexpr std::size_t profile = 1;
    platform::Preview preview;
    const ServiceStatus status = platform::read_preview(
        token_text(command.tokens.front()),
        command.tokens.size() > profile ? token_text(command.tokens[profile]) : "", preview);
    if (status != 0) {
        return refused(status, preview.why_not);
    }
    if (platform::is_output_structured()) {
        show_rows<PreviewRow>(preview_list, preview_columns, preview.messages, "");
        platform::set_value(left_out_place, static_cast<std::int64_t>(preview.left_out));
        return done;
    }
    for (const PreviewRow& row : preview.messages) {
        print_preview(row);
    }
    if (preview.left_out > 0) {
        std::printf("%u more have no room here: name a profile\n", preview.left_out);
    }
    return done;
}

std::uint32_t clear_queue(Session&, const ParsedCommand&) {
    platform::ClearedQueue cleared{};
    if (!succeeded(platform::clear_queue(cleared))) {
        return failed;
    }
    if (cleared.given_up == 0) {
        std::puts("Nothing waits that could be given up.");
    } else {
        std::puts((receivers(cleared.given_up, "was", "were") + " given up.").c_str());
    }
    if (cleared.under_way > 0) {
        std::puts(
            (receivers(cleared.under_way, "is", "are") + " being tried now, and may wait again.").c_str());
    }
    return done;
}

std::uint32_t resend_message(Session&, const ParsedCommand& command) {
    platform::ResentMessage resent{};
    const ServiceStatus status =
        platform::resend_message(std::get<std::uint32_t>(command.values.front().value), resent);
    if (status != 0) {
        return refused(status, resent.why_not);
    }
    if (resent.due_now > 0) {
        std::puts((receivers(resent.due_now, "is", "are") + " due now.").c_str());
    }
    if (resent.under_way > 0) {
        std::puts((receivers(resent.under_way, "is", "are") + " being tried now.").c_str());
    }
    if (resent.new_message > 0) {
        std::printf("%s the message already: message %u with an identity of its own goes there.\n",
                    receivers(resent.receivers, "has", "have").c_str(), resent.new_message);
    }
    if (!resent.why_not.empty()) {
        std::printf("Not all was done: %s\n", printable(resent.why_not, KeepLineEnds::no).c_str());
    }
    return resent.why_not.empty() ? done : failed;
}

void show_queue_state(const QueueState& state) {
    show_facts<QueueState>(queue_facts, state);
    platform::set_value(is_degraded_place, state.is_degraded);
}

void add_queue_state(platform::Members& members) {
    add_facts<QueueState>(members, queue_facts);
    members.push_back({is_degraded_place, boolean});
}

platform::Members delivery_document(std::string_view name) {
    platform::Members members;
    if (name == "profile_statistics") {
        add_facts<ProfileStatistics>(members, statistics_facts);
    } else if (name == "preview") {
        add_members<PreviewRow>(members, preview_columns);
        members.push_back({left_out_place, number});
    }
    return members;
}

}  // namespace callhome::shell
