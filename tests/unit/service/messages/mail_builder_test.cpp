#include "messages/mail_builder.h"

#include <gmime/gmime.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <sstream>
#include <utility>
#include <vector>

namespace callhome::service {
namespace {

using namespace std::string_literals;

struct Unreference {
    void operator()(gpointer object) const { g_object_unref(object); }
};

using ParsedMail = std::unique_ptr<GMimeMessage, Unreference>;

ParsedMail parse(const std::string& text) {
    const std::unique_ptr<GMimeStream, Unreference> stream(
        g_mime_stream_mem_new_with_buffer(text.data(), text.size()));
    const std::unique_ptr<GMimeParser, Unreference> parser(g_mime_parser_new_with_stream(stream.get()));
    return ParsedMail(g_mime_parser_construct_message(parser.get(), nullptr));
}

std::string text_of(GMimeObject* part) {
    const std::unique_ptr<GMimeStream, Unreference> stream(g_mime_stream_mem_new());
    g_mime_data_wrapper_write_to_stream(g_mime_part_get_content(GMIME_PART(part)), stream.get());
    const GByteArray* bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream.get()));
    std::string text(reinterpret_cast<const char*>(bytes->data), bytes->len);
    std::erase(text, '\r');
    return text;
}

Mail sample_mail() {
    Mail mail;
    mail.from = "switch1@example.com";
    mail.to = {"ada@example.com", "bob@example.com"};
    mail.reply_to = "reply@example.com";
    mail.return_receipt = "receipt@example.com";
    mail.subject = "Call home: Test message from switch1";
    mail.message_id = "1.2@switch1";
    mail.time = 1'700'000'000;
    mail.body = "one\ntwo\n";
    return mail;
}

// The header's names as they stand, in order, and their raw values, unfolded.
std::multimap<std::string, std::string> headers_of(const std::string& mail) {
    std::multimap<std::string, std::string> headers;
    std::istringstream lines(mail.substr(0, mail.find("\r\n\r\n")));
    auto last = headers.end();
    for (std::string line; std::getline(lines, line);) {
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (line.starts_with(' ') || line.starts_with('\t')) {
            last->second += line;
        } else {
            const std::size_t colon = line.find(':');
            last = headers.emplace(line.substr(0, colon), line.substr(std::min(colon + 2, line.size())));
        }
    }
    return headers;
}

std::string header(const std::string& mail, const std::string& name) {
    const auto headers = headers_of(mail);
    EXPECT_EQ(headers.count(name), 1U) << name << "\n" << mail;
    const auto found = headers.find(name);
    return found == headers.end() ? "" : found->second;
}

TEST(MailHeaders, AreThoseOfTheMail) {
    const std::string mail = build_mail(sample_mail());
    EXPECT_EQ(header(mail, "From"), "switch1@example.com");
    EXPECT_EQ(header(mail, "To"), "ada@example.com, bob@example.com");
    EXPECT_EQ(header(mail, "Reply-To"), "reply@example.com");
    EXPECT_EQ(header(mail, "Disposition-Notification-To"), "receipt@example.com");
    EXPECT_EQ(header(mail, "Subject"), "Call home: Test message from switch1");
    EXPECT_EQ(header(mail, "Message-Id"), "<1.2@switch1>");
    EXPECT_EQ(header(mail, "Auto-Submitted"), "auto-generated");
    EXPECT_EQ(header(mail, "MIME-Version"), "1.0");
    EXPECT_EQ(header(mail, "Content-Type"), "text/plain; charset=utf-8");
    const ParsedMail parsed = parse(mail);
    EXPECT_EQ(g_date_time_to_unix(g_mime_message_get_date(parsed.get())), 1'700'000'000);
}

TEST(MailHeaders, LeaveOutWhatIsNotConfigured) {
    Mail mail = sample_mail();
    mail.reply_to = mail.return_receipt = "";
    const auto headers = headers_of(build_mail(mail));
    EXPECT_EQ(headers.count("Reply-To"), 0U);
    EXPECT_EQ(headers.count("Disposition-Notification-To"), 0U);
}

TEST(MailHeaders, EncodeWhatIsNotAscii) {
    Mail mail = sample_mail();
    mail.subject = "Call home: Test message from Zürich-東京";
    const std::string text = build_mail(mail);
    EXPECT_NE(header(text, "Subject").find("=?"), std::string::npos);
    EXPECT_STREQ(g_mime_message_get_subject(parse(text).get()), mail.subject.c_str());
}

TEST(MailHeaders, ASubjectThatLooksEncodedIsReadAsItWasWritten) {
    for (const char* written :
         {"Bcc: x, =?utf-8?Q?=0D=0ABcc:_evil@example.net?=", "=?", "=?utf-8?B?QQ==?= =?utf-8?B?QQ==?=",
          "Zürich =?utf-8?Q?=41?= 東京東京東京東京東京東京東京東京東京東京東京 and much more behind it"}) {
        Mail mail = sample_mail();
        mail.subject = written;
        const std::string text = build_mail(mail);
        EXPECT_STREQ(g_mime_message_get_subject(parse(text).get()), written);
        EXPECT_EQ(headers_of(text).count("Bcc"), 0U);
    }
}

TEST(MailHeaders, NeverGrowFromAField) {
    const auto expected = headers_of(build_mail(sample_mail())).size();
    for (const std::string& hostile :
         {std::string("x\r\nBcc: eve@example.com"), std::string("x\nBcc: eve@example.com\n\nbody"),
          std::string("x\r\n\r\n."), "x\0y\r\nBcc: e"s, std::string("\rBcc: eve@example.com"),
          std::string(5000, 'x'), std::string("=?utf-8?q?=0D=0ABcc:_eve?=")}) {
        Mail mail = sample_mail();
        mail.subject = hostile;
        const std::string text = build_mail(mail);
        EXPECT_EQ(headers_of(text).size(), expected) << text;
        EXPECT_EQ(headers_of(text).count("Bcc"), 0U) << text;
        EXPECT_EQ(text_of(g_mime_message_get_mime_part(parse(text).get())), "one\ntwo\n");
    }
}

TEST(MailHeaders, LeaveOutAddressesThatAreNone) {
    Mail mail = sample_mail();
    mail.to = {"ada@example.com", "x\r\nBcc: eve@example.com", "<eve@example.com>, y@example.com"};
    mail.reply_to = "x\r\nBcc: eve@example.com";
    mail.return_receipt = "x\ny@example.com";
    const std::string text = build_mail(mail);
    EXPECT_EQ(text.find("eve"), std::string::npos) << text;
    EXPECT_EQ(header(text, "To"), "ada@example.com");
    EXPECT_EQ(headers_of(text).count("Reply-To"), 0U);
    EXPECT_EQ(headers_of(text).count("Disposition-Notification-To"), 0U);
    mail.to = {"nobody at all"};
    EXPECT_EQ(header(build_mail(mail), "To"), "undisclosed-recipients: ;");
}

TEST(MailLines, EndInCrLfInAsciiAndKeepToTheLimit) {
    Mail mail = sample_mail();
    mail.to.assign(100, "somebody.with.a.long.name@a.long.domain.example.com");
    mail.subject = std::string(3000, 'x');
    for (const std::string& body : {std::string(5000, 'x'), std::string("Zürich\n.\n..\nFrom me\n"),
                                    std::string(), std::string("東京\n") + std::string(2000, 'y')}) {
        for (const auto format : {protocol::MessageFormat::full_text, protocol::MessageFormat::xml}) {
            mail.body = body;
            mail.format = format;
            const std::string text = build_mail(mail);
            std::size_t line = 0;
            for (std::size_t at = 0; at < text.size(); ++at) {
                const bool end = text[at] == '\n';
                EXPECT_EQ(end, at > 0 && text[at - 1] == '\r') << at;
                EXPECT_LT(static_cast<unsigned char>(text[at]), 0x80U);
                line = end ? 0 : line + 1;
                EXPECT_LE(line, 999U);  // with the CR
            }
        }
    }
}

TEST(MailBody, ComesBackAsItWasInUtf8) {
    for (const std::string& body : {"Zürich 東京\n.\nFrom me\n" + std::string(1500, 'x') + "\n",
                                    "Zürich\n"s, "Œuvre Ελλάδα\n"s, "blank at the end \n"s, "\n\n"s}) {
        Mail mail = sample_mail();
        mail.body = body;
        const std::string text = build_mail(mail);
        EXPECT_EQ(header(text, "Content-Type"), "text/plain; charset=utf-8");
        EXPECT_EQ(text_of(g_mime_message_get_mime_part(parse(text).get())), body);
    }
}

TEST(MailBody, InAsciiStandsBehindTheHeadersWithMailLineEnds) {
    const std::vector<std::pair<std::string, std::string>> bodies{
        {"", ""},
        {"a", "a\r\n"},
        {"a\n", "a\r\n"},
        {"\n\nFrom b\n.\n", "\r\n\r\nFrom b\r\n.\r\n"},
        {"a\r\nb", "a\r\nb\r\n"}};
    for (const auto& [body, lines] : bodies) {
        Mail mail = sample_mail();
        mail.body = body;
        const std::string text = build_mail(mail);
        EXPECT_EQ(text.substr(text.find("\r\n\r\n") + 4), lines);
        EXPECT_EQ(header(text, "Content-Transfer-Encoding"), "7bit");
    }
}

TEST(MailBody, InAsciiIsReadableWithoutDecoding) {
    EXPECT_NE(build_mail(sample_mail()).find("\r\n\r\none\r\ntwo\r\n"), std::string::npos);
}

TEST(MailBody, OfXmlIsAnAttachmentWithAnExplanation) {
    Mail mail = sample_mail();
    mail.format = protocol::MessageFormat::xml;
    mail.body = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<a>Zürich</a>\n";
    const ParsedMail parsed = parse(build_mail(mail));
    GMimeObject* body = g_mime_message_get_mime_part(parsed.get());
    ASSERT_TRUE(GMIME_IS_MULTIPART(body));
    auto* parts = GMIME_MULTIPART(body);
    ASSERT_EQ(g_mime_multipart_get_count(parts), 2);
    GMimeObject* explanation = g_mime_multipart_get_part(parts, 0);
    EXPECT_TRUE(g_mime_content_type_is_type(g_mime_object_get_content_type(explanation), "text", "plain"));
    GMimeObject* attachment = g_mime_multipart_get_part(parts, 1);
    EXPECT_TRUE(
        g_mime_content_type_is_type(g_mime_object_get_content_type(attachment), "application", "xml"));
    EXPECT_STREQ(g_mime_object_get_disposition(attachment), "attachment");
    EXPECT_STREQ(g_mime_part_get_filename(GMIME_PART(attachment)), "callhome-message.xml");
    EXPECT_EQ(text_of(attachment), mail.body);
}

}  // namespace
}  // namespace callhome::service
