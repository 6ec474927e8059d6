// What each display becomes as JSON or XML, and the schemas of it.
#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "grammar.h"
#include "platform/command_output.h"

namespace callhome::shell {

// The members of the document that the grammar declares for a display. Empty when there is none.
platform::Members document_members(const Command& command);

// The schemas of all displays, by the name of their file: a display's keywords with dashes between them,
// ".json" for JSON schema and ".xsd" for XML schema. Throws std::runtime_error when a display has no
// document, or when two that would have one name differ.
std::map<std::string, std::string> all_schemas(const Grammar& grammar);

// Writes them into a folder. Throws std::runtime_error.
void write_schemas(const Grammar& grammar, const std::filesystem::path& folder);

}  // namespace callhome::shell
