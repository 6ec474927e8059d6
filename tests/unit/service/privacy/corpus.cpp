#include "corpus.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <stdexcept>

namespace callhome::service::tests {
namespace {

struct Marks {
    std::string_view opening;
    std::string_view closing;
    bool is_free;
};

constexpr std::array marks{Marks{"«", "»", true}, Marks{"‹", "›", false}};

// "\n" is a line end, two backslashes are one.
std::string with_line_ends(const std::string& line) {
    std::string text;
    for (std::size_t at = 0; at < line.size(); ++at) {
        const bool escape = line[at] == '\\' && at + 1 < line.size();
        if (escape && line[at + 1] == 'n') {
            text += '\n';
            ++at;
        } else {
            text += line[at];
            at += escape && line[at + 1] == '\\' ? 1 : 0;
        }
    }
    return text;
}

Form form_of(const std::string& line) {
    Form form;
    form.line = line;
    const std::string text = with_line_ends(line);
    std::size_t at = 0;
    for (;;) {
        const auto* next = std::ranges::min_element(marks, {}, [&](const Marks& each) {
            return std::min(text.find(each.opening, at), text.size());
        });
        const std::size_t begin = text.find(next->opening, at);
        form.around.push_back(text.substr(at, std::min(begin, text.size()) - at));
        if (begin == std::string::npos) {
            return form;
        }
        const std::size_t secret = begin + next->opening.size();
        const std::size_t end = text.find(next->closing, secret);
        if (end == std::string::npos) {
            throw std::runtime_error("a mark is not closed: " + line);
        }
        form.secrets.push_back({text.substr(secret, end - secret), next->is_free});
        at = end + next->closing.size();
    }
}

std::vector<std::string> lines_of(const std::string& file) {
    std::ifstream in(std::string(PRIVACY_CORPUS "/") + file);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && !line.starts_with("// ")) {
            lines.push_back(line);
        }
    }
    if (lines.empty()) {
        throw std::runtime_error("nothing in " + file);
    }
    return lines;
}

}  // namespace

std::string Form::text() const {
    std::vector<std::string> own;
    std::ranges::transform(secrets, std::back_inserter(own), &MarkedSecret::text);
    return text_with(own);
}

std::string Form::text_with(const std::vector<std::string>& secrets_instead) const {
    std::string text = around.front();
    for (std::size_t i = 0; i < secrets.size(); ++i) {
        text += secrets_instead.at(i) + around[i + 1];
    }
    return text;
}

std::vector<Form> read_forms(const std::string& file) {
    std::vector<Form> forms;
    std::ranges::transform(lines_of(file), std::back_inserter(forms), form_of);
    return forms;
}

std::vector<std::string> read_texts(const std::string& file) {
    std::vector<std::string> texts;
    std::ranges::transform(lines_of(file), std::back_inserter(texts), with_line_ends);
    return texts;
}

}  // namespace callhome::service::tests
