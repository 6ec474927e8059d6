// One document of structured output.
#pragma once

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "platform/command_output.h"

namespace callhome::platform {

class Document {
 public:
    // The lists at the root are there from the beginning.
    explicit Document(const Members& members);
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;
    ~Document();

    // Places are those of Member; inside a list of objects they lead into its last one.
    void declare_list(std::string_view place);
    void begin_element(std::string_view list);
    // Sets a member, or adds to a list of plain values. Texts may be any bytes.
    void set(std::string_view place, const Value& value);

    std::string json() const;
    std::string xml() const;

 private:
    std::unique_ptr<nlohmann::ordered_json> root_;
};

// The root element of XML, and what an element of a list is called: "email_address" of "email_addresses".
inline constexpr const char* root_element = "callhome";
std::string element_name(std::string_view list);

}  // namespace callhome::platform
