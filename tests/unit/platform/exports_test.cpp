// The functions of interface.h are what a loaded library can find in the process, and nothing else of
// the platform is.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>

namespace callhome::platform {
namespace {

std::string content_of(const std::string& file) {
    std::ifstream stream(PLATFORM_FOLDER "/" + file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string without_comments(std::string text) {
    for (std::size_t start = text.find("/*"); start != std::string::npos; start = text.find("/*")) {
        text.erase(start, text.find("*/", start) + 2 - start);
    }
    return text;
}

bool is_name_letter(char letter) {
    return letter == '_' || (letter >= 'a' && letter <= 'z');
}

// Names that stand before the first parenthesis of a declaration.
std::set<std::string> declared_functions() {
    std::istringstream text(without_comments(content_of("include/platform/interface.h")));
    std::set<std::string> names;
    for (std::string declaration; std::getline(text, declaration, ';');) {
        const std::size_t end = declaration.find('(');
        if (end == std::string::npos) {
            continue;
        }
        const auto first =
            std::find_if_not(declaration.rbegin() + static_cast<std::ptrdiff_t>(declaration.size() - end),
                             declaration.rend(), is_name_letter);
        names.insert(std::string(first.base(), declaration.begin() + static_cast<std::ptrdiff_t>(end)));
    }
    return names;
}

std::set<std::string> exported_functions() {
    std::istringstream text(without_comments(content_of("exports.list")));
    std::set<std::string> names;
    for (std::string word; text >> word;) {
        if (word.size() > 1 && is_name_letter(word.front())) {
            names.insert(word.substr(0, word.find(';')));
        }
    }
    return names;
}

TEST(ExportsTest, TheListIsThatOfTheInterface) {
    EXPECT_GE(exported_functions().size(), 12U);
    EXPECT_EQ(exported_functions(), declared_functions());
}

TEST(ExportsTest, EachFunctionIsThereForALoadedLibrary) {
    for (const std::string& name : exported_functions()) {
        EXPECT_NE(::dlsym(RTLD_DEFAULT, name.c_str()), nullptr) << name;
    }
}

TEST(ExportsTest, TheRestOfThePlatformIsHidden) {
    // use_service() and set_error_prefix(), as the linker knows them.
    EXPECT_EQ(::dlsym(RTLD_DEFAULT, "_ZN8callhome8platform11use_serviceENS0_15ServiceLocationE"), nullptr);
    EXPECT_EQ(
        ::dlsym(
            RTLD_DEFAULT,
            "_ZN8callhome8platform16set_error_prefixENSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"),
        nullptr);
}

}  // namespace
}  // namespace callhome::platform
