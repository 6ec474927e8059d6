// The trace buffers and the memory statistics of the service, as the C interface shows them.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fake_service.h"
#include "platform/interface.h"
#include "platform/reference.h"
#include "temporary_folder.h"

namespace callhome::platform {
namespace {

using protocol::Status;
using test::FakeService;
using test::Frame;
using test::Peer;

constexpr std::uint32_t service_destination = 0xFE000000;

class TraceTest : public testing::Test {
 protected:
    // Answers each request with the text and keeps the last one.
    void serve(const std::string& text, Status status = Status::ok) {
        service_ =
            std::make_unique<FakeService>(folder_.path() / "socket", [this, text, status](int, Peer& peer) {
                while (auto request = peer.read_frame()) {
                    seen_ = *request;
                    peer.reply(*request, text, status);
                }
            });
        use_service({.socket = folder_.path() / "socket", .program = {}, .state_folder = {}});
    }
    void TearDown() override { use_service({}); }

    struct Shown {
        int result;
        std::string out, err;
    };
    template <typename Show>
    static Shown shown_by(Show show) {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int result = show();
        std::string out = testing::internal::GetCapturedStdout();
        return {result, out, testing::internal::GetCapturedStderr()};
    }

    // What a callback that always gives a null pointer has been called with.
    static std::vector<std::string>& lines() {
        static std::vector<std::string> taken;
        return taken;
    }
    static void* take(const char* line, void* arg) {
        lines().push_back(std::string(line) + (arg == nullptr ? "" : "+"));
        return nullptr;
    }
    static Shown walk(int first, void* arg = nullptr) {
        lines().clear();
        return shown_by([&] { return ::tracebuf_get_by_line("callhome", first, take, arg); });
    }

    static MemoryDumpRequest words(std::uint32_t detail) {
        return {.fixed_1 = 0, .detail = detail, .fixed_3 = 5, .fixed_4 = 0xFFFFFFFF};
    }
    static Shown dump(std::uint32_t destination, std::uint32_t opcode, MemoryDumpRequest request,
                      std::uint32_t length = sizeof(MemoryDumpRequest),
                      const char* function = "mtrack_dump_memstats") {
        return shown_by(
            [&] { return ::debug_trace_dump(1, destination, opcode, &request, length, function); });
    }

    TemporaryFolder folder_;
    Frame seen_{};
    std::unique_ptr<FakeService> service_;
};

TEST_F(TraceTest, TheBufferIsAskedForByItsName) {
    serve("");
    EXPECT_EQ(walk(1).result, 0);
    EXPECT_EQ(seen_.header.opcode, 0x4C485U);
    EXPECT_EQ(seen_.header.operation, 1U);
    EXPECT_EQ(seen_.body, "callhome" + std::string(56, '\0'));
    EXPECT_TRUE(lines().empty());
}

TEST_F(TraceTest, EachLineIsHandedOnWhateverComesBackForIt) {
    serve("first\n\nthird\n");
    int argument = 0;
    EXPECT_EQ(walk(1).result, 3);
    EXPECT_EQ(lines(), (std::vector<std::string>{"first", "", "third"}));
    EXPECT_EQ(walk(3, &argument).result, 1);
    EXPECT_EQ(lines(), std::vector<std::string>{"third+"});
}

TEST_F(TraceTest, ALineBeforeTheFirstIsTheFirstAndBehindTheLastIsNone) {
    serve("a\nb\n");
    for (const int first : {0, -7}) {
        EXPECT_EQ(walk(first).result, 2);
    }
    EXPECT_EQ(walk(3).result, 0);
    EXPECT_TRUE(lines().empty());
}

TEST_F(TraceTest, ADumpShowsTheWholeBufferOrItsEnd) {
    std::string text;
    for (int line = 1; line <= 30; ++line) {
        text += "line " + std::to_string(line) + "\n";
    }
    serve(text);
    const Shown whole = shown_by([] { return ::tracebuf_dump_console("callhome", 1); });
    EXPECT_EQ(whole.result, 30);
    EXPECT_EQ(whole.out, text);
    const Shown end = shown_by([] { return ::tracebuf_dump_console("callhome", 0); });
    EXPECT_EQ(end.result, 20);
    EXPECT_EQ(end.out, text.substr(text.find("line 11")));
}

TEST_F(TraceTest, ABufferThatIsNotThereIsARefusal) {
    serve("", Status::not_found);
    const Shown shown = shown_by([] { return ::tracebuf_dump_console("nobody's", 1); });
    EXPECT_EQ(shown.result, -1);
    EXPECT_EQ(shown.out, std::string(::sys_err_to_str(static_cast<int>(Status::not_found))) + "\n");
    EXPECT_EQ(shown.err, "");
    EXPECT_EQ(walk(1).result, -1);
    EXPECT_TRUE(lines().empty());
}

TEST_F(TraceTest, WithoutAServiceTheOperatorIsTold) {
    use_service({.socket = folder_.path() / "nobody", .program = {}, .state_folder = {}});
    for (const Shown& shown : {walk(1), shown_by([] { return ::tracebuf_dump_console("callhome", 1); }),
                               dump(service_destination, 66, words(0))}) {
        EXPECT_EQ(shown.result, -1);
        EXPECT_EQ(shown.out, "");
        EXPECT_TRUE(shown.err.starts_with("The command was not carried out: ")) << shown.err;
    }
}

TEST_F(TraceTest, NamesAndCallbacksThatAreMissingDoNoHarm) {
    serve("", Status::not_found);
    EXPECT_EQ(shown_by([] { return ::tracebuf_get_by_line("callhome", 1, nullptr, nullptr); }).result, -1);
    EXPECT_EQ(shown_by([] { return ::tracebuf_dump_console(nullptr, 1); }).result, -1);
    EXPECT_EQ(seen_.body, std::string(64, '\0'));
}

TEST_F(TraceTest, TheMemoryOfTheServiceIsShownAsItTellsIt) {
    serve("Resident: 4 kB\n50% of it\n");
    const Shown shown = dump(service_destination, 66, words(1));
    EXPECT_EQ(shown.result, 0);
    EXPECT_EQ(shown.out, "Resident: 4 kB\n50% of it\n");
    EXPECT_EQ(shown.err, "");
    EXPECT_EQ(seen_.header.opcode, 0x4C486U);
    EXPECT_EQ(seen_.header.operation, 1U);
    EXPECT_EQ(seen_.body, std::string("\0\0\0\1", 4));
    dump(service_destination, 66, words(0));
    EXPECT_EQ(seen_.body, std::string(4, '\0'));
}

TEST_F(TraceTest, AnotherDumpIsNotThere) {
    serve("not asked for");
    for (const Shown& shown :
         {dump(1, 66, words(0)), dump(service_destination, 65, words(0)),
          dump(service_destination, 66, words(0), 12), dump(service_destination, 66, words(0), 16, "other"),
          dump(service_destination, 66, words(0), 16, nullptr)}) {
        EXPECT_EQ(shown.result, -1);
        EXPECT_EQ(shown.out, "");
        EXPECT_EQ(shown.err, "This platform has no such dump\n");
    }
}

}  // namespace
}  // namespace callhome::platform
