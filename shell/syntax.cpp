#include "syntax.h"

#include <charconv>
#include <stdexcept>

#include "words.h"

namespace callhome::shell {

namespace {

using Nodes = std::vector<std::uint16_t>;

// A piece of syntax by the nodes it may begin and end with (the position automaton: no node stands
// for nothing, so the parser needs no closure).
struct Piece {
    Nodes first, last;
    bool may_be_empty = false;
};

void append(Nodes& to, const Nodes& from) {
    to.insert(to.end(), from.begin(), from.end());
}

constexpr bool is_delimiter(char character) {
    switch (character) {
        case ' ':
        case '\t':
        case '[':
        case ']':
        case '(':
        case '|':
        case ')':
        case '<':
        case '>':
        case '$':
            return true;
        default:
            return false;
    }
}

// The name that `text` begins with.
constexpr std::string_view name_at(std::string_view text) {
    std::size_t length = 0;
    while (length < text.size() && !is_delimiter(text[length])) {
        ++length;
    }
    return text.substr(0, length);
}

constexpr int deepest_set = 4;

class Compiler {
 public:
    Compiler(Grammar& grammar, std::string_view syntax, std::uint16_t command)
        : grammar_(grammar), rest_(syntax), command_(command) {}

    Piece whole() {
        Piece piece = sequence();
        if (!rest_.empty()) {
            throw std::invalid_argument("\"" + std::string(rest_) +
                                        "\" stands after the end of the syntax");
        }
        return piece;
    }

 private:
    bool next_is(char character) {
        rest_ = trimmed(rest_);
        return !rest_.empty() && rest_.front() == character;
    }

    void expect(char character) {
        if (!next_is(character)) {
            throw std::invalid_argument(std::string("a '") + character + "' is missing in the syntax");
        }
        rest_.remove_prefix(1);
    }

    void join(Piece& head, const Piece& tail) {
        for (const std::uint16_t node : head.last) {
            append(grammar_.nodes[node].followers, tail.first);
        }
        if (head.may_be_empty) {
            append(head.first, tail.first);
        }
        if (!tail.may_be_empty) {
            head.last.clear();
        }
        append(head.last, tail.last);
        head.may_be_empty = head.may_be_empty && tail.may_be_empty;
    }

    Piece sequence() {
        Piece all;
        all.may_be_empty = true;
        for (rest_ = trimmed(rest_); !rest_.empty() && !next_is('|') && !next_is(')') && !next_is(']');
             rest_ = trimmed(rest_)) {
            join(all, element());
        }
        return all;
    }

    Piece choice(char end) {
        Piece all = sequence();
        while (next_is('|')) {
            rest_.remove_prefix(1);
            const Piece other = sequence();
            append(all.first, other.first);
            append(all.last, other.last);
            all.may_be_empty = all.may_be_empty || other.may_be_empty;
        }
        expect(end);
        return all;
    }

    Piece element() {
        const char begin = rest_.front();
        if (begin == '$') {
            rest_.remove_prefix(1);
            return set(take_name());
        }
        if (begin == '(' || begin == '[') {
            rest_.remove_prefix(1);
            Piece piece = choice(begin == '(' ? ')' : ']');
            piece.may_be_empty = piece.may_be_empty || begin == '[';
            return piece;
        }
        return begin == '<' ? parameter() : keyword();
    }

    Piece set(std::string_view name) {
        const auto found = grammar_.sets.find(name);
        if (found == grammar_.sets.end()) {
            throw std::invalid_argument("there is no set " + std::string(name));
        }
        if (++set_depth_ > deepest_set) {
            throw std::invalid_argument("the set " + std::string(name) + " contains itself");
        }
        const std::string_view after = rest_;
        rest_ = found->second.syntax;
        Piece piece = sequence();
        rest_ = after;
        --set_depth_;
        return piece;
    }

    std::string_view take_name() {
        const std::string_view name = name_at(rest_);
        rest_.remove_prefix(name.size());
        return name;
    }

    Piece parameter() {
        expect('<');
        const std::string_view name = take_name();
        expect('>');
        const auto found = grammar_.parameters.find(name);
        if (found == grammar_.parameters.end()) {
            throw std::invalid_argument("there is no value " + std::string(name));
        }
        Node node;
        node.parameter = &found->second;
        read_token(node, take_name());
        return add(std::move(node));
    }

    Piece keyword() {
        std::string_view name = take_name();
        Node node;
        node.word = name.substr(0, name.find_first_of("#!/"));
        name.remove_prefix(node.word.size());
        if (node.word.empty()) {
            throw std::invalid_argument("a word is missing before \"" + std::string(rest_) + "\"");
        }
        if (!name.empty() && name.front() == '!') {
            node.may_be_abbreviated = false;
            name.remove_prefix(1);
        }
        node.token_text = node.word;
        read_token(node, name);
        return add(std::move(node));
    }

    // "#ID", "#ID/TEXT" or nothing.
    static void read_token(Node& node, std::string_view mark) {
        if (mark.empty()) {
            return;
        }
        const std::size_t slash = mark.find('/');
        std::string_view digits = mark.substr(0, slash);
        const bool is_hexadecimal = digits.starts_with("#0x");
        digits.remove_prefix(std::min<std::size_t>(is_hexadecimal ? 3 : 1, digits.size()));
        std::uint32_t id = 0;
        const auto [end, error] =
            std::from_chars(digits.data(), digits.data() + digits.size(), id, is_hexadecimal ? 16 : 10);
        if (mark.front() != '#' || error != std::errc{} || end != digits.data() + digits.size()) {
            throw std::invalid_argument("\"" + std::string(mark) + "\" is not a keyword id");
        }
        node.keyword_id = id;
        if (slash != std::string_view::npos) {
            node.token_text = mark.substr(slash + 1);
        }
    }

    Piece add(Node node) {
        if (grammar_.nodes.size() > UINT16_MAX) {
            throw std::invalid_argument("the grammar has too many words");
        }
        node.command = command_;
        const auto index = static_cast<std::uint16_t>(grammar_.nodes.size());
        grammar_.nodes.push_back(std::move(node));
        return {{index}, {index}, false};
    }

    Grammar& grammar_;
    std::string_view rest_;
    std::uint16_t command_;
    int set_depth_ = 0;
};

// One written element without its id, mapped text and exclamation mark.
void append_without_ids(std::string& readable, std::string_view syntax) {
    while (!syntax.empty()) {
        const std::size_t length = std::min(syntax.find_first_of("#!/$"), syntax.size());
        for (const char character : syntax.substr(0, length)) {
            if (character != '<' && character != '>') {
                readable += character;
            }
        }
        syntax.remove_prefix(length);
        if (syntax.empty()) {
            return;
        }
        const bool is_set = syntax.front() == '$';
        const std::string_view name = name_at(syntax.substr(1));
        if (is_set) {
            readable += name;
        }
        syntax.remove_prefix(1 + name.size());
    }
}

}  // namespace

void compile_syntax(Grammar& grammar, Command& command) {
    Compiler compiler(grammar, command.syntax, static_cast<std::uint16_t>(grammar.commands.size()));
    const Piece whole = compiler.whole();
    if (whole.may_be_empty) {
        throw std::invalid_argument("the command has no word of its own");
    }
    command.first = whole.first;
    for (const std::uint16_t node : whole.last) {
        grammar.nodes[node].may_end = true;
    }
}

std::string readable_syntax(std::string_view syntax) {
    std::string readable;
    append_without_ids(readable, syntax);
    return readable;
}

std::string readable_syntax(const Command& command) {
    std::string readable = command.forms == Forms::no_only ? "no "
                           : command.forms == Forms::both  ? "[no] "
                                                           : "";
    append_without_ids(readable, command.syntax);
    return readable;
}

}  // namespace callhome::shell
