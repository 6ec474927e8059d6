#include "terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <stdexcept>

#include "help.h"
#include "table.h"
#include "words.h"

namespace callhome::shell {

namespace {

constexpr const char* program_name = "callhome";  // in ~/.editrc
constexpr std::string_view start_marking_pastes = "\033[?2004h";
constexpr std::string_view stop_marking_pastes = "\033[?2004l";
constexpr std::string_view clear_line = "\r\033[K";
constexpr std::string_view end_of_paste = "\033[201~";
// No key sends it.
constexpr const wchar_t* insert_pasted_key = L"\033[callhome-paste~";
constexpr std::size_t longest_paste = 1 << 28;  // bytes; the rest would be taken as typed
constexpr std::size_t screen_width = 80;

struct KeyFunction {
    const wchar_t* key;
    const wchar_t* name;
    const wchar_t* what;
    unsigned char (*run)(EditLine*, wint_t);
};

bool is_capable_terminal() {
    const char* name = std::getenv("TERM");
    return name != nullptr && *name != '\0' && std::strcmp(name, "dumb") != 0;
}

// Keys have come that nobody has read yet.
bool has_more_input() {
    int waiting = 0;
    return ioctl(STDIN_FILENO, FIONREAD, &waiting) == 0 && waiting > 0;
}

void write_out(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    (void)std::fflush(stdout);
}

void append_character(std::string& text, wchar_t character) {
    std::array<char, MB_LEN_MAX> bytes{};
    std::mbstate_t state{};
    const std::size_t length = std::wcrtomb(bytes.data(), character, &state);
    if (length <= bytes.size()) {
        text.append(bytes.data(), length);
    }
}

// Choices side by side.
std::string in_columns(const std::vector<std::string>& words) {
    std::size_t width = 1;
    for (const std::string& word : words) {
        width = std::max(width, word.size() + 2);
    }
    const std::size_t columns = std::max<std::size_t>(1, screen_width / width);
    std::string text;
    for (std::size_t index = 0; index < words.size(); ++index) {
        const bool ends_row = (index + 1) % columns == 0 || index + 1 == words.size();
        text += words[index] + (ends_row ? "\n" : std::string(width - words[index].size(), ' '));
    }
    return text;
}

}  // namespace

Terminal::Terminal(Session& session, History& history)
    : session_(session),
      history_(history),
      editor_(el_init(program_name, stdin, stdout, stderr)),
      recalled_(history_init()),
      marks_pastes_(is_capable_terminal()) {
    if (editor_ == nullptr || recalled_ == nullptr) {
        throw std::runtime_error("the terminal cannot be used; give commands with -c or -f");
    }
    HistEvent event{};
    ::history(recalled_, &event, H_SETSIZE, static_cast<int>(history_length));
    for (const std::string& line : history.lines()) {
        ::history(recalled_, &event, H_ENTER, line.c_str());
    }
    el_set(editor_, EL_CLIENTDATA, this);
    el_set(editor_, EL_PROMPT, &Terminal::prompt);
    el_set(editor_, EL_HIST, ::history, recalled_);
    el_set(editor_, EL_EDITOR, "emacs");
    el_set(editor_, EL_SIGNAL, 1);
    // Ctrl-C, Ctrl-Z and Ctrl-\ are keys like others while a line is typed.
    el_set(editor_, EL_SETTY, "-d", "-isig", nullptr);
    bind_keys();
    el_source(editor_, nullptr);
}

Terminal::~Terminal() {
    if (recalled_ != nullptr) {
        history_end(recalled_);
    }
    if (editor_ != nullptr) {
        el_end(editor_);
    }
}

void Terminal::bind_keys() {
    static constexpr KeyFunction functions[] = {
        {L"?", L"callhome-help", L"Shows what may stand here", &Terminal::question_mark},
        {L"\t", L"callhome-complete", L"Completes a word", &Terminal::tab},
        {L"^C", L"callhome-drop-line", L"Drops the line", &Terminal::drop_line},
        {L"^Z", L"callhome-end", L"Goes back to exec mode", &Terminal::end_mode},
        {L"\033[200~", L"callhome-paste", L"Inserts what is pasted", &Terminal::paste},
        {insert_pasted_key, L"callhome-insert-pasted", L"Inserts the rest of a paste",
         &Terminal::insert_pasted},
    };
    for (const KeyFunction& row : functions) {
        // The narrow el_set would keep copies of the names and never release them.
        el_wset(editor_, EL_ADDFN, row.name, row.what, row.run);
        el_wset(editor_, EL_BIND, row.key, row.name, nullptr);
    }
    el_set(editor_, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    el_set(editor_, EL_BIND, "^W", "ed-delete-prev-word", nullptr);
}

Terminal& Terminal::of(EditLine* editor) {
    void* self = nullptr;
    el_get(editor, EL_CLIENTDATA, &self);
    return *static_cast<Terminal*>(self);
}

char* Terminal::prompt(EditLine* editor) {
    return of(editor).prompt_.data();
}

std::string Terminal::text_before_cursor() const {
    const LineInfo* line = el_line(editor_);
    return {line->buffer, static_cast<std::size_t>(line->cursor - line->buffer)};
}

// Leaves the line as it stands and writes under it; libedit then draws prompt and line again.
void Terminal::show_below(const std::string& text) {
    write_out("\n" + text);
}

unsigned char Terminal::insert(const std::string& text) {
    return el_insertstr(editor_, text.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
}

unsigned char Terminal::question_mark(EditLine* editor, wint_t) {
    Terminal& self = of(editor);
    const std::string text = self.text_before_cursor();
    const Expectation expectation = expectation_at(self.session_.grammar(), self.session_.mode(), text);
    // Nobody types on before the help is there: where the terminal does not tell pasted text from typed
    // text, this does.
    const bool is_pasted = expectation.may_begin_text && has_more_input();
    if (expectation.is_inside_value || is_pasted || is_comment(trimmed(text))) {
        return self.insert("?");
    }
    self.show_below(help_text(expectation));
    return CC_REDISPLAY;
}

unsigned char Terminal::tab(EditLine* editor, wint_t) {
    Terminal& self = of(editor);
    const Completion completion =
        complete(self.session_.grammar(), self.session_.mode(), self.text_before_cursor());
    if (!completion.insert.empty()) {
        return self.insert(completion.insert);
    }
    if (completion.choices.empty()) {
        return CC_ERROR;
    }
    self.show_below(in_columns(completion.choices));
    return CC_REDISPLAY;
}

unsigned char Terminal::drop_line(EditLine* editor, wint_t) {
    of(editor).answer_ = TypedLine::dropped;
    write_out("^C");
    return CC_NEWLINE;
}

unsigned char Terminal::end_mode(EditLine* editor, wint_t) {
    of(editor).answer_ = TypedLine::return_to_exec;
    write_out("^Z");
    return CC_NEWLINE;
}

// Takes what is pasted as text: a tab or a question mark in it is no request.
unsigned char Terminal::paste(EditLine* editor, wint_t) {
    Terminal& self = of(editor);
    std::string text;
    wchar_t character = 0;  // el_getc knows no characters beyond ASCII
    while (!text.ends_with(end_of_paste) && text.size() < longest_paste &&
           el_wgetc(editor, &character) == 1) {
        append_character(text, character == L'\r' ? L'\n' : character == L'\t' ? L' ' : character);
    }
    if (text.ends_with(end_of_paste)) {
        text.resize(text.size() - end_of_paste.size());
    }
    self.pasted_ = std::move(text);
    self.pasted_rest_ = self.pasted_;
    return insert_pasted(editor, 0);
}

unsigned char Terminal::insert_pasted(EditLine* editor, wint_t) {
    Terminal& self = of(editor);
    const std::size_t end = self.pasted_rest_.find('\n');
    const bool is_whole_line = end != std::string_view::npos;
    const std::string text = printable(self.pasted_rest_.substr(0, end), KeepLineEnds::no);
    self.pasted_rest_.remove_prefix(is_whole_line ? end + 1 : self.pasted_rest_.size());
    if (!text.empty() && el_insertstr(editor, text.c_str()) != 0) {
        return CC_ERROR;
    }
    if (!is_whole_line) {
        return CC_REFRESH;
    }
    self.line_was_pasted_ = true;
    // The line is drawn before it is run: what is done can be read. The editor draws it with the prompt, so
    // the prompt that stands there makes room.
    write_out(clear_line);
    el_set(editor, EL_REFRESH);
    write_out("\n");
    return CC_NEWLINE;
}

bool Terminal::take_pasted_line(std::string& line) {
    const std::size_t end = pasted_rest_.find('\n');
    if (end == std::string_view::npos) {
        return false;
    }
    line = printable(pasted_rest_.substr(0, end), KeepLineEnds::no);
    pasted_rest_.remove_prefix(end + 1);
    return true;
}

TypedLine Terminal::read_line(std::string& line) {
    prompt_ = session_.prompt();
    answer_ = TypedLine::line;
    line_was_pasted_ = false;
    if (marks_pastes_) {
        write_out(start_marking_pastes);
    }
    if (!pasted_rest_.empty()) {
        el_wpush(editor_, insert_pasted_key);
    }
    int length = 0;
    const char* typed = el_gets(editor_, &length);
    if (marks_pastes_) {
        write_out(stop_marking_pastes);
    }
    if (answer_ != TypedLine::line) {
        pasted_rest_ = {};
        write_out("\n");
        return answer_;
    }
    if (line_was_pasted_ && length <= 0) {
        line.clear();  // an empty line of a paste: nobody has left
        return TypedLine::line;
    }
    if (typed == nullptr || length <= 0) {
        write_out("\n");
        return length < 0 ? TypedLine::hang_up : TypedLine::end_of_mode;
    }
    line.assign(typed, static_cast<std::size_t>(length));
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
        line.pop_back();
    }
    return TypedLine::line;
}

void Terminal::remember(const std::string& line) {
    HistEvent event{};
    ::history(recalled_, &event, H_ENTER, line.c_str());
    history_.add(line);
}

}  // namespace callhome::shell
