// The texts that stand in corpus/, and what their marks mean.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace callhome::service::tests {

struct MarkedSecret {
    std::string text;
    bool is_free;  // any other text could stand in its place
};

// A text cut at its marks: what stands around the secrets is one piece longer than they are.
struct Form {
    std::string line;  // as it stands in the file
    std::vector<std::string> around;
    std::vector<MarkedSecret> secrets;

    std::string text() const;
    // With others in place of the secrets: as many.
    std::string text_with(const std::vector<std::string>& secrets_instead) const;
};

std::vector<Form> read_forms(const std::string& file);

// Without marks.
std::vector<std::string> read_texts(const std::string& file);

}  // namespace callhome::service::tests
