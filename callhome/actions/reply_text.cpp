#include "actions/reply_text.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "callhome/handlers.h"
#include "frame/own_file.h"

namespace callhome::library {
namespace {

constexpr std::size_t part_size = 2048;  // bytes of a line buffer and of each half of a split reply
constexpr const char* working_file = "/tmp/callhome_reply_msg.txt";

struct CloseFile {
    void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

File open_working_file(int flags, const char* mode) {
    const int descriptor = open_own_file(working_file, flags);
    if (descriptor < 0) {
        return nullptr;
    }
    const bool to_be_written = (flags & O_CREAT) != 0;
    const bool usable = !to_be_written || ftruncate(descriptor, 0) == 0;
    FILE* file = usable ? fdopen(descriptor, mode) : nullptr;
    if (file == nullptr) {
        close(descriptor);
    }
    return File(file);
}

bool write_working_file(const char* text) {
    File file = open_working_file(O_WRONLY | O_CREAT, "w");
    if (file == nullptr) {
        return false;
    }
    const bool written = std::fputs(text, file.get()) >= 0;
    // The last bytes leave with the close, so its result counts.
    if (std::fclose(file.release()) == 0 && written) {
        return true;
    }
    unlink(working_file);
    return false;
}

void append(char* part, const char* line) {
    const std::size_t used = strnlen(part, part_size - 1);
    const std::size_t length = std::min(std::strlen(line), part_size - 1 - used);
    std::memcpy(part + used, line, length);
    part[used + length] = '\0';
}

}  // namespace

OwnedText copy_of_text(const char* text, std::size_t size) {
    return OwnedText(g_strndup(text, strnlen(text, size)));
}

char* trim(char* text) {
    return g_strchomp(g_strchug(text));
}

void print_warning(char* text) {
    if (*trim(text) != '\0') {
        std::puts("warning:");
        std::puts(text);
    }
}

void print_explanation(const char* text) {
    if (*text != '\0') {
        std::puts(text);
    }
}

}  // namespace callhome::library

using namespace callhome::library;

int parse_success_and_warning_message(const char* text, char* success_out, char* warning_out) {
    if (!write_working_file(text)) {
        return -1;
    }
    const File file = open_working_file(O_RDONLY, "r");
    if (file == nullptr) {
        return -1;
    }
    char line[part_size];
    while (std::fgets(line, sizeof line, file.get()) != nullptr) {
        append(std::strstr(line, "Successfully") != nullptr ? success_out : warning_out, line);
    }
    unlink(working_file);
    return 0;
}

int parse_and_print_test_alert_reply(char* text, const char* name) {
    if (text == nullptr || name == nullptr) {
        return -1;
    }
    char confirmations[part_size] = {};
    char warnings[part_size] = {};
    const bool is_blank = *trim(text) == '\0';
    if (is_blank || parse_success_and_warning_message(text, confirmations, warnings) != 0) {
        std::printf("successfully sent %s callhome message\n", name);
        print_warning(text);
        return 0;
    }
    print_explanation(trim(confirmations));
    print_warning(warnings);
    return 0;
}
