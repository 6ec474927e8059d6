// Running-configuration lines in an order in which they can be typed.
//
// Generators write line by line and subject by subject, as the lines are best read. Typed in that order,
// some of them would not bring back what they tell of:
//
// - Choosing a profile's format sets the profile's size back. So a size comes behind the format, and where
//   the generator leaves a size out that the format does not bring by itself, the line is added.
// - The feature cannot be switched on before the settings are there that it needs. So "enable" comes behind
//   all others.
// - With distribution on, contact items cannot be changed, and all that is distributed waits for "commit".
//   So "distribute", which no generator writes, comes behind all other lines, too, but for one distributed
//   setting that every configuration has: it opens the session that "commit" closes.
//
// At most three lines are kept back at any time.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace callhome::platform {

class TypingOrder {
 public:
    using Write = std::function<void(std::string_view line)>;
    enum class Distribution : bool { off, on };
    enum class Ending : std::uint8_t { plain, before_commit };

    TypingOrder(Write write, Distribution distribution);

    // A line without its end.
    void take(std::string_view line);
    // Writes what can no longer wait for the line behind it.
    void settle();
    // Writes what was kept back for the end.
    void finish(Ending ending);

 private:
    void write_unless_empty(std::string& line);

    Write write_;
    std::string size_line_;       // waits for the format of the same profile
    std::string inventory_line_;  // periodic inventory on or off, with distribution: it opens the session
    std::string enable_line_;
    std::string distribute_line_;  // no generator writes it
};

}  // namespace callhome::platform
