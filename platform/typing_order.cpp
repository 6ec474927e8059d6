#include "typing_order.h"

#include <array>
#include <utility>

namespace callhome::platform {
namespace {

constexpr std::string_view enable_line = "enable";
constexpr std::string_view distribute_line = "distribute";
constexpr std::array<std::string_view, 2> inventory_lines{"periodic-inventory notification",
                                                          "no periodic-inventory notification"};
constexpr std::string_view profile_word = "destination-profile ";
constexpr std::string_view size_words = " message-size ";
constexpr std::string_view format_words = " format ";
constexpr std::string_view short_format = "short-txt";
// The size that generators leave out of a user's profile; choosing the short format sets another one.
constexpr std::string_view usual_size = "2500000";
// Their generators write no format, so that their sizes need not wait for one.
constexpr std::array<std::string_view, 3> built_in_profiles{"full-txt-destination", "short-txt-destination",
                                                            "ZUVA-profile"};

struct ProfileSetting {
    std::string_view profile;  // empty when the line is something else
    std::string_view value;
};

// What "destination-profile NAME<words>VALUE" says.
ProfileSetting profile_setting(std::string_view line, std::string_view words) {
    if (!line.starts_with(profile_word)) {
        return {};
    }
    line.remove_prefix(profile_word.size());
    const std::string_view profile = line.substr(0, line.find(' '));
    line.remove_prefix(profile.size());
    if (!line.starts_with(words)) {
        return {};
    }
    return {profile, line.substr(words.size())};
}

template <typename Lines>
bool is_one_of(const Lines& lines, std::string_view line) {
    for (const std::string_view row : lines) {
        if (row == line) {
            return true;
        }
    }
    return false;
}

}  // namespace

TypingOrder::TypingOrder(Write write, Distribution distribution)
    : write_(std::move(write)),
      distribute_line_(distribution == Distribution::on ? distribute_line : std::string_view()) {}

void TypingOrder::write_unless_empty(std::string& line) {
    if (!line.empty()) {
        write_(std::exchange(line, {}));
    }
}

void TypingOrder::take(std::string_view line) {
    const ProfileSetting format = profile_setting(line, format_words);
    const bool size_is_waiting =
        !format.profile.empty() && profile_setting(size_line_, size_words).profile == format.profile;
    if (!size_is_waiting) {
        settle();
    }
    const ProfileSetting size = profile_setting(line, size_words);
    if (!size.profile.empty() && !is_one_of(built_in_profiles, size.profile)) {
        size_line_ = line;
    } else if (line == enable_line) {
        enable_line_ = line;
    } else if (!distribute_line_.empty() && is_one_of(inventory_lines, line)) {
        inventory_line_ = line;
    } else {
        write_(line);
        if (format.value == short_format && !size_is_waiting) {
            size_line_ =
                std::string(profile_word).append(format.profile).append(size_words).append(usual_size);
        }
        settle();
    }
}

void TypingOrder::settle() {
    write_unless_empty(size_line_);
}

void TypingOrder::finish(Ending ending) {
    settle();
    if (ending == Ending::before_commit) {
        write_unless_empty(enable_line_);
        write_unless_empty(distribute_line_);
    }
    write_unless_empty(inventory_line_);
    write_unless_empty(enable_line_);
    write_unless_empty(distribute_line_);
}

}  // namespace callhome::platform
