#include "messages/mail_builder.h"

#include <fmt/format.h>
#include <gmime/gmime.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <string_view>

#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr const char* charset = "utf-8";
constexpr const char* attachment_name = "callhome-message.xml";
constexpr std::size_t longest_line = 998;  // bytes without its end: RFC 5322, 2.1.1
constexpr unsigned char last_ascii = 0x7F;
constexpr std::size_t longest_subject = 255;      // bytes; a line cannot be folded within a word
constexpr std::size_t longest_encoded_part = 45;  // bytes; 75 with all around them: RFC 2047, 2
constexpr const char* nobody_named = "undisclosed-recipients:;";
constexpr const char* attachment_explanation =
    "This is a call-home message for programs. The attached document holds all of it.\n";

struct Unreference {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename Object>
using Reference = std::unique_ptr<Object, Unreference>;

template <typename Object>
Reference<Object> own(Object* object) {
    return Reference<Object>(object);
}

void initialize_once() {
    static std::once_flag initialized;
    std::call_once(initialized, g_mime_init);
}

// Plain ASCII in short lines stays readable for whoever looks at the mail's source.
GMimeContentEncoding encoding_of(std::string_view text) {
    unsigned char all_bits = 0;
    for (const char c : text) {  // without a branch, so that many bytes are taken at once
        all_bits |= static_cast<unsigned char>(c);
    }
    if (all_bits > last_ascii) {
        return GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE;
    }
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        if (end - begin > longest_line) {
            return GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE;
        }
        begin = end + 1;
    }
    return GMIME_CONTENT_ENCODING_7BIT;
}

void set_text(GMimePart* part, const std::string& text) {
    const auto stream = own(g_mime_stream_mem_new_with_buffer(text.data(), text.size()));
    const auto content =
        own(g_mime_data_wrapper_new_with_stream(stream.get(), GMIME_CONTENT_ENCODING_DEFAULT));
    g_mime_part_set_content(part, content.get());
    g_mime_part_set_content_encoding(part, encoding_of(text));
}

// The text goes in as it is, in UTF-8: GMime's own text parts choose another charset where one would do.
Reference<GMimePart> part_of(const char* type, const char* subtype, const std::string& text) {
    auto part = own(g_mime_part_new_with_type(type, subtype));
    set_text(part.get(), text);
    g_mime_object_set_content_type_parameter(GMIME_OBJECT(part.get()), "charset", charset);
    return part;
}

Reference<GMimeObject> text_part(const std::string& text) {
    return Reference<GMimeObject>(GMIME_OBJECT(part_of("text", "plain", text).release()));
}

Reference<GMimeObject> xml_attachment(const std::string& document) {
    auto part = part_of("application", "xml", document);
    g_mime_object_set_disposition(GMIME_OBJECT(part.get()), GMIME_DISPOSITION_ATTACHMENT);
    g_mime_part_set_filename(part.get(), attachment_name);
    return Reference<GMimeObject>(GMIME_OBJECT(part.release()));
}

Reference<GMimeObject> body_of(const Mail& mail) {
    if (mail.format != protocol::MessageFormat::xml) {
        return text_part(mail.body);
    }
    auto parts = own(g_mime_multipart_new_with_subtype("mixed"));
    g_mime_multipart_add(parts.get(), text_part(attachment_explanation).get());
    g_mime_multipart_add(parts.get(), xml_attachment(mail.body).get());
    return Reference<GMimeObject>(GMIME_OBJECT(parts.release()));
}

// Text of which no byte has to be encoded, and that is all of the mail.
bool travels_as_it_is(const Mail& mail) {
    return mail.format != protocol::MessageFormat::xml && mail.body.find('\r') == std::string::npos &&
           encoding_of(mail.body) == GMIME_CONTENT_ENCODING_7BIT;
}

// The last line has one, too.
std::string with_mail_line_ends(std::string_view text) {
    std::string result;
    result.reserve(text.size() + static_cast<std::size_t>(std::ranges::count(text, '\n')));
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        result.append(text.substr(0, end)).append("\r\n");
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return result;
}

void add_address(GMimeMessage* message, GMimeAddressType kind, const std::string& address) {
    if (is_plain_address(address)) {
        g_mime_message_add_mailbox(message, kind, nullptr, address.c_str());
    }
}

// A text that looks like an encoded one would be decoded by who reads it: it is encoded as a whole.
std::string guarded(std::string_view text) {
    if (text.find("=?") == std::string_view::npos) {
        return std::string(text);
    }
    std::string encoded;
    while (!text.empty()) {
        const std::string_view part = cut_to(text, longest_encoded_part);
        const std::unique_ptr<char, decltype(&g_free)> base64(
            g_base64_encode(reinterpret_cast<const guchar*>(part.data()), part.size()), &g_free);
        encoded += fmt::format("{}=?{}?B?{}?=", encoded.empty() ? "" : " ", charset, base64.get());
        text.remove_prefix(part.size());
    }
    return encoded;
}

void set_subject(GMimeMessage* message, const std::string& subject) {
    const std::string line = guarded(cut_to(clean_line(subject), longest_subject));
    g_mime_message_set_subject(message, line.c_str(), charset);
}

void set_date(GMimeMessage* message, long long time) {
    const std::unique_ptr<GDateTime, decltype(&g_date_time_unref)> date(
        g_date_time_new_from_unix_local(time), &g_date_time_unref);
    g_mime_message_set_date(message, date.get());
}

void add_headers(GMimeMessage* message, const Mail& mail) {
    add_address(message, GMIME_ADDRESS_TYPE_FROM, mail.from);
    add_address(message, GMIME_ADDRESS_TYPE_REPLY_TO, mail.reply_to);
    for (const std::string& address : mail.to) {
        add_address(message, GMIME_ADDRESS_TYPE_TO, address);
    }
    auto* headers = GMIME_OBJECT(message);
    if (std::none_of(mail.to.begin(), mail.to.end(), is_plain_address)) {
        g_mime_object_set_header(headers, "To", nobody_named, nullptr);
    }
    set_subject(message, mail.subject);
    g_mime_message_set_message_id(message, mail.message_id.c_str());
    set_date(message, mail.time);
    // Keeps vacation responders and the like from answering a switch (RFC 3834).
    g_mime_object_set_header(headers, "Auto-Submitted", "auto-generated", nullptr);
    if (is_plain_address(mail.return_receipt)) {
        g_mime_object_set_header(headers, "Disposition-Notification-To", mail.return_receipt.c_str(),
                                 nullptr);
    }
}

std::string bytes_of(GMimeStream* stream) {
    const GByteArray* bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream));
    return {reinterpret_cast<const char*>(bytes->data), bytes->len};
}

std::string written(GMimeMessage* message) {
    const std::unique_ptr<GMimeFormatOptions, decltype(&g_mime_format_options_free)> options(
        g_mime_format_options_new(), &g_mime_format_options_free);
    g_mime_format_options_set_newline_format(options.get(), GMIME_NEWLINE_FORMAT_DOS);
    const auto stream = own(g_mime_stream_mem_new());
    g_mime_object_write_to_stream(GMIME_OBJECT(message), options.get(), stream.get());
    return bytes_of(stream.get());
}

Reference<GMimeMessage> parsed(const std::string& mail) {
    const auto stream = own(g_mime_stream_mem_new_with_buffer(mail.data(), mail.size()));
    const auto parser = own(g_mime_parser_new_with_stream(stream.get()));
    return Reference<GMimeMessage>(g_mime_parser_construct_message(parser.get(), nullptr));
}

// Where body_of() has put the text; null where there is nothing like that.
GMimePart* text_of(GMimeMessage* message) {
    constexpr int attachment = 1;
    GMimeObject* part = g_mime_message_get_mime_part(message);
    if (GMIME_IS_MULTIPART(part)) {
        auto* parts = GMIME_MULTIPART(part);
        part = g_mime_multipart_get_count(parts) > attachment ? g_mime_multipart_get_part(parts, attachment)
                                                              : nullptr;
    }
    return GMIME_IS_PART(part) ? GMIME_PART(part) : nullptr;
}

std::string decoded(GMimePart* part) {
    const auto stream = own(g_mime_stream_mem_new());
    g_mime_data_wrapper_write_to_stream(g_mime_part_get_content(part), stream.get());
    std::string text = bytes_of(stream.get());
    std::erase(text, '\r');
    return text;
}

}  // namespace

std::string with_replaced(std::string text, std::string_view old, std::string_view replacement) {
    if (old.empty()) {
        return text;
    }
    for (std::size_t at = text.find(old); at != std::string::npos;
         at = text.find(old, at + replacement.size())) {
        text.replace(at, old.size(), replacement);
    }
    return text;
}

std::optional<std::string> renew_mail(const std::string& mail, const Renewal& renewal) {
    initialize_once();
    const auto message = parsed(mail);
    GMimePart* part = message == nullptr ? nullptr : text_of(message.get());
    if (part == nullptr || g_mime_part_get_content(part) == nullptr) {
        return std::nullopt;
    }
    set_text(part, with_replaced(decoded(part), renewal.old_identity, renewal.new_identity));
    if (const char* earlier = g_mime_message_get_message_id(message.get())) {
        const std::string reference = fmt::format("<{}>", earlier);
        g_mime_object_set_header(GMIME_OBJECT(message.get()), "References", reference.c_str(), nullptr);
    }
    set_subject(message.get(), renewal.subject);
    g_mime_message_set_message_id(message.get(), renewal.message_id.c_str());
    set_date(message.get(), renewal.time);
    return written(message.get());
}

std::string build_mail(const Mail& mail) {
    initialize_once();
    const auto message = own(g_mime_message_new(TRUE));
    add_headers(message.get(), mail);
    if (!travels_as_it_is(mail)) {
        g_mime_message_set_mime_part(message.get(), body_of(mail).get());
        return written(message.get());
    }
    // Behind the headers, nothing is left to do but the line ends: GMime takes several times as long.
    g_mime_message_set_mime_part(message.get(), text_part("").get());
    return written(message.get()) + with_mail_line_ends(mail.body);
}

}  // namespace callhome::service
