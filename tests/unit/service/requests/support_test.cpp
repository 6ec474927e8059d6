#include <fmt/format.h>

#include "delivery/queue.h"
#include "protocol/records/trace.h"
#include "requests_fixture.h"
#include "trace/request_words.h"

namespace callhome::service {
namespace {

class SupportTest : public RequestsTest {
 protected:
    Outcome ask_for_trace(std::string_view name) {
        protocol::TraceKeyRecord record{};
        write_text(record.buffer, name);
        return send(Opcode::trace_buffer, Operation::get, record);
    }
    std::string memory(std::uint32_t detail) {
        EXPECT_EQ(send(Opcode::memory_statistics, Operation::get,
                       protocol::MemoryStatisticsRequest{.detail = detail}),
                  Status::ok);
        return reply_text();
    }
    // What stands behind "NAME:" on its line.
    static std::string value_of(const std::string& text, const std::string& name) {
        const std::string lines = "\n" + text;
        const std::size_t line = lines.find("\n" + name + ":");
        if (line == std::string::npos) {
            return "no line " + name;
        }
        const std::size_t value = lines.find_first_not_of(' ', line + name.size() + 2);
        return lines.substr(value, lines.find('\n', value) - value);
    }
};

TEST_F(SupportTest, ATraceBufferIsItsLines) {
    facts.traces->note_line(TracedLevel::error, {}, "100% lost");
    facts.traces->note_line(TracedLevel::info, {}, "sent");
    EXPECT_EQ(ask_for_trace("callhome_error_trace_buffer"), Status::ok);
    EXPECT_TRUE(reply_text().ends_with(" error: 100% lost\n")) << reply_text();
    EXPECT_EQ(reply_text().find("sent"), std::string::npos);
    EXPECT_EQ(ask_for_trace("callhome"), Status::ok);
    EXPECT_TRUE(reply_text().ends_with(" info: sent\n")) << reply_text();
    EXPECT_EQ(ask_for_trace("nobody's"), Status::not_found);
    EXPECT_TRUE(reply.body().empty());
}

TEST_F(SupportTest, AnybodyWhoReachesTheServiceMayLook) {
    caller.allowed = false;
    EXPECT_EQ(ask_for_trace("callhome"), Status::ok);
    EXPECT_FALSE(memory(0).empty());
}

TEST_F(SupportTest, ANotedAnswerIsTraced) {
    dispatcher.note_answer(
        {.opcode = 2188, .operation = 3, .user = 7, .time = std::chrono::microseconds(900)});
    EXPECT_EQ(ask_for_trace("callhome"), Status::ok);
    EXPECT_TRUE(reply_text().ends_with(" request: set traps by user 7: done, 0.9 ms\n")) << reply_text();
}

TEST_F(SupportTest, EveryRequestHasItsWords) {
    for (const RequestRow& row : request_rows()) {
        const std::string words = words_of_request(static_cast<std::uint32_t>(row.opcode),
                                                   static_cast<std::uint32_t>(row.operation));
        EXPECT_EQ(words.find_first_of("0123456789"), std::string::npos) << words;
    }
}

TEST_F(SupportTest, MemoryIsToldPartByPart) {
    facts.traces->note_line(TracedLevel::error, {}, "lost");
    const std::string text = memory(0);
    EXPECT_EQ(value_of(text, "Messages"), "0 entries, 0 bytes");
    EXPECT_EQ(value_of(text, "Signatures"), "0 entries, 0 bytes");
    EXPECT_TRUE(value_of(text, "Traces").starts_with("1 entries, ")) << text;
    EXPECT_TRUE(value_of(text, "Store").ends_with(" bytes")) << text;
    EXPECT_TRUE(value_of(text, "Heap in use").ends_with(" bytes")) << text;
    EXPECT_TRUE(value_of(text, "Resident").ends_with(" kB")) << text;
    EXPECT_EQ(text.find("\n  "), std::string::npos) << "no part of a part without detail";
}

TEST_F(SupportTest, DetailHasThePartsOfEachPart) {
    store.effective().add_address(AddressKind::email, "full_txt", "ada@example.net");
    store.effective().add_address(AddressKind::url, "full_txt", "https://a.example/");
    catalogue.load({{plain_signature(7), "seven"}});
    const std::string text = memory(1);
    EXPECT_TRUE(value_of(text, "  profiles").starts_with("3, ")) << text;
    EXPECT_TRUE(value_of(text, "  addresses").starts_with("2, ")) << text;
    EXPECT_EQ(value_of(text, "  signature 7"), "1, 5 bytes");
    EXPECT_EQ(value_of(text, "  errors"), "0");
    EXPECT_EQ(value_of(text, "  table profile_entry"), "5 rows") << text;
    EXPECT_TRUE(value_of(text, "  of the system").ends_with(" bytes")) << text;
}

TEST_F(SupportTest, MessagesAreCountedWithTheirBytes) {
    Queue queue(database);
    NewMessage message;
    message.receivers = {"ada@example.net", "bob@example.net"};
    message.size = 300;
    queue.record(std::span(&message, 1), {now, 1000 * now}, 1000);
    queue.record(std::span(&message, 1), {now, 1000 * now}, 1000);
    const std::string text = memory(1);
    EXPECT_EQ(value_of(text, "Messages"), "2 entries, 600 bytes");
    EXPECT_EQ(value_of(text, "  deliveries waiting"), "4");
    EXPECT_EQ(value_of(text, "  deliveries done"), "0");
}

TEST_F(SupportTest, AnotherDetailThanNoneOrAllIsMalformed) {
    EXPECT_EQ(
        send(Opcode::memory_statistics, Operation::get, protocol::MemoryStatisticsRequest{.detail = 2}),
        Status::malformed_request);
}

}  // namespace
}  // namespace callhome::service
