#include "signatures/bounded_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "temporary_folder.h"

namespace callhome::service {
namespace {

using protocol::ResultCode;

constexpr std::size_t limit = 10;

ResultCode code_of(const std::filesystem::path& path) {
    const auto read = read_bounded_file(path, limit);
    const auto* refusal = std::get_if<Refusal>(&read);
    return refusal == nullptr ? ResultCode::ok : refusal->code;
}

TEST(BoundedFile, IsReadWhole) {
    const TemporaryFolder folder;
    folder.write("file", std::string_view("ten\0bytes!", limit));
    folder.write("empty", "");
    const auto read = read_bounded_file(folder / "file", limit);
    EXPECT_EQ(std::get<FileContent>(read).bytes, std::string_view("ten\0bytes!", limit));
    EXPECT_EQ(std::get<FileContent>(read).owner, ::geteuid());
    EXPECT_EQ(code_of(folder / "empty"), ResultCode::ok);
}

TEST(BoundedFile, IsAPlainFileOfBoundedLength) {
    const TemporaryFolder folder;
    folder.write("file", "1234567890");
    folder.write("long", "12345678901");
    std::filesystem::create_symlink(folder / "file", folder / "link");
    std::filesystem::create_directory(folder / "folder");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), S_IRUSR | S_IWUSR), 0);
    EXPECT_EQ(code_of(folder / "file"), ResultCode::ok);
    EXPECT_EQ(code_of(folder / "long"), ResultCode::over_length);
    EXPECT_EQ(code_of("/dev/zero"), ResultCode::file_not_opened);
    for (const char* name : {"link", "folder", "pipe", "nothing", ""}) {
        EXPECT_EQ(code_of(folder / name), ResultCode::file_not_opened) << name;
    }
}

// The memory of a process is a plain file, of which nothing can be read at its start.
TEST(BoundedFile, CannotAlwaysBeReadOnceItIsOpen) {
    EXPECT_EQ(code_of("/proc/self/mem"), ResultCode::file_not_read);
}

TEST(BoundedFile, SaysWhyItIsNotRead) {
    const TemporaryFolder folder;
    const auto why = [&](const char* name) {
        return std::get<Refusal>(read_bounded_file(folder / name, limit)).why;
    };
    std::filesystem::create_symlink(folder / "file", folder / "link");
    EXPECT_EQ(why("nothing"),
              (folder / "nothing").string() + " cannot be opened: No such file or directory");
    EXPECT_EQ(why("link"), (folder / "link").string() + " is a link; name the file itself");
}

}  // namespace
}  // namespace callhome::service
