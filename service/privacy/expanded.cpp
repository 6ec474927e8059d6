#include <algorithm>
#include <array>
#include <stdexcept>
#include <string_view>

#include "privacy/rules.h"

namespace callhome::service {
namespace {

struct Piece {
    std::string_view name;
    std::string_view pattern;
};

constexpr std::array pieces{
    Piece{"secret", R"((?:pass(?:word|wd|phrase|code|wort)|passwd|pwd|psk|secret(?:[_-]?(?:access[_-]?))"
                    R"(?key)?|token|credentials?|cak|(?:api|access|private|secret|encrypt(?:ion)?|)"
                    R"(sign(?:ing)?|shared|pre[_-]?shared|auth(?:entication|orization)?|priv(?:acy)?|)"
                    R"(master|account|session|server|md5|wep|client|service|storage|sas|subscription|)"
                    R"(licen[cs]e|hmac|crypto|radius|tacacs|snmp|ike|ipsec|tsig|bot|webhook)[ )"
                    R"(_-]?key\d?))"},
    Piece{"suffix", R"((?:[_-]?(?:hash(?:ed)?|value|text|plain|enc(?:rypted)?|base64|b64|old|new|)"
                    R"(current|confirm(?:ation)?|string|raw|base|\d{1,2}))?)"},
    Piece{"equals", R"(\\?["']?\]?~(?::=|=>|==|[:=]|\x253[aAdD])~)"},
    // A text in quotes up to them, a word up to what ends it in a sentence or a list.
    Piece{"value",
          R"((?:\\"([^"\\]+)(?:\\")?|"((?:\\.|[^"\\])+)["]?|'([^']+)'?|([^\s"'](?:\S*[^\s;,)}\]>"'])?)))"},
    Piece{"type", R"((?:(?:encrypted|clear-?text|clear|plain-?text|plain|cipher|simple|hidden|)"
                  R"(ascii-text|ascii|hexadecimal|hex|irreversible-cipher|level \d{1,2}|1?\d|md5|)"
                  R"(sha\d{0,3}|scrypt|pbkdf2) ){0,3})"},
    Piece{"cipher", R"((?:3?des|aes)(?:[ -]?(?:cfb[ -]?)?(?:128|192|256))?)"},
};

constexpr std::string_view blanks = R"([ \t]+)";
constexpr std::string_view any_blanks = R"([ \t]*)";

std::string_view piece_named(std::string_view name) {
    const auto* found =
        std::find_if(pieces.begin(), pieces.end(), [&](const Piece& piece) { return piece.name == name; });
    if (found == pieces.end()) {
        throw std::logic_error("a mask rule names a piece that there is not");
    }
    return found->pattern;
}

// Blanks and ~ within brackets stand for themselves.
class Expansion {
 public:
    std::string of(std::string_view pattern) {
        for (std::size_t at = 0; at < pattern.size();) {
            at += take(pattern.substr(at));
        }
        return std::move(result_);
    }

 private:
    std::size_t copy(std::string_view text) {
        result_ += text;
        return text.size();
    }
    std::size_t take(std::string_view rest) {
        constexpr std::size_t escape = 2;
        const char c = rest.front();
        if (c == '\\') {
            return copy(rest.substr(0, escape));
        }
        if (in_brackets_) {
            in_brackets_ = c != ']';
            return copy(rest.substr(0, 1));
        }
        if (c == '%') {
            return take_piece(rest);
        }
        in_brackets_ = c == '[';
        result_ += c == ' ' ? blanks : c == '~' ? any_blanks : rest.substr(0, 1);
        return 1;
    }
    std::size_t take_piece(std::string_view rest) {
        constexpr std::size_t both_signs = 2;
        const std::string_view name = rest.substr(1, rest.find('%', 1) - 1);
        if (name.empty()) {
            result_ += '%';
        } else {
            result_ += Expansion().of(piece_named(name));
        }
        return name.size() + both_signs;
    }

    std::string result_;
    bool in_brackets_ = false;
};

}  // namespace

std::string expanded(const char* pattern) {
    return Expansion().of(pattern);
}

}  // namespace callhome::service
