#include "delivery/smtp_client.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>

#include "delivery/curl_handle.h"
#include "delivery/endpoint.h"
#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr std::uint32_t standard_port = 25;
constexpr std::size_t longest_reply = 400;  // bytes of a server's words that are kept

// Reply codes of RFC 5321, 4.2.1; those from 530 to 539 ask for encryption or a login (RFC 3207, 4954),
// which is a matter between us and this server, not one of the receiver.
constexpr int first_temporary = 400;
constexpr int first_permanent = 500;
constexpr int first_login = 530;
constexpr int last_login = 539;
constexpr std::size_t code_digits = 3;

// What the server said last, and to which command. libcurl tells neither by itself when a transfer fails.
struct Conversation {
    std::string command;  // the verb; empty before the greeting
    std::string reply;
    bool over = false;  // libcurl has taken leave: what follows explains nothing

    int code() const {
        int value = 0;
        std::from_chars(reply.data(), reply.data() + std::min(reply.size(), code_digits), value);
        return value;
    }
};

constexpr std::string_view content_command = "content";
constexpr std::string_view encryption_command = "STARTTLS";
constexpr std::string_view farewell = "QUIT";

// True where a refusal concerns this mail and its receiver, and not the server's state.
bool is_about_the_mail(std::string_view command) {
    return command == "MAIL" || command == "RCPT" || command == "DATA" || command == content_command;
}

int listen(CURL* /*handle*/, curl_infotype type, char* data, size_t size, void* conversation) noexcept {
    auto& heard = *static_cast<Conversation*>(conversation);
    const std::string_view bytes(data, size);
    if (heard.over) {
        return 0;
    }
    if (type == CURLINFO_HEADER_OUT) {
        const std::string_view command = bytes.substr(0, bytes.find_first_of(" \r\n"));
        if (command == farewell) {
            heard.over = true;
        } else {
            heard = {std::string(command), ""};
        }
    } else if (type == CURLINFO_DATA_OUT && heard.command != content_command) {
        heard = {std::string(content_command), ""};
    } else if (type == CURLINFO_HEADER_IN && heard.reply.size() < longest_reply) {
        heard.reply.append(bytes.substr(0, longest_reply));
    }
    return 0;
}

// Content that is still to be read.
using Remainder = std::string_view;

size_t read_content(char* buffer, size_t size, size_t count, void* remainder) noexcept {
    auto& rest = *static_cast<Remainder*>(remainder);
    const std::size_t length = std::min(size * count, rest.size());
    std::memcpy(buffer, rest.data(), length);
    rest.remove_prefix(length);
    return length;
}

std::uint32_t port_of(const MailRoute& route) {
    return route.port == 0 ? standard_port : route.port;
}

std::string name_of(const MailRoute& route) {
    return authority_of(route.host, port_of(route));
}

// Why the route leads nowhere; empty when it can be tried.
std::string why_unusable(const MailRoute& route) {
    return is_endpoint(route.host, port_of(route)) ? why_no_vrf(route.vrf_name)
                                                   : "this is not the name or address of a mail server";
}

Outcome judge(CURLcode result, const CurlHandle& handle, const Conversation& heard,
              const std::string& authority) {
    if (result == CURLE_OK) {
        return {Verdict::delivered, authority, ""};
    }
    if (result == CURLE_ABORTED_BY_CALLBACK) {
        return {Verdict::stopped, authority, ""};
    }
    const int code = heard.code();
    if (code < first_temporary) {
        return {Verdict::postponed, authority, handle.error_text(result)};
    }
    const bool login_wanted = code >= first_login && code <= last_login;
    const bool refused = code >= first_permanent && !login_wanted && is_about_the_mail(heard.command);
    return {refused ? Verdict::refused : Verdict::postponed, authority,
            std::string(cut_to(clean_line(heard.reply), longest_reply))};
}

struct Transfer {
    Outcome outcome;
    bool encryption_failed;
};

Transfer transfer(const DeliveryJob& job, const MailRoute& route, const TransferLimits& limits,
                  const std::stop_token& stop, long encryption) {
    const std::string authority = name_of(route);
    Conversation heard;
    Remainder remainder(*job.content);
    // Declared after what libcurl may write to until it is gone.
    CurlHandle handle("smtp", limits, stop);
    handle.set(CURLOPT_URL, fmt::format("smtp://{}/{}", authority, job.own_name).c_str());
    handle.set(CURLOPT_USE_SSL, encryption);
    handle.set(CURLOPT_SSL_VERIFYPEER, 0L);
    handle.set(CURLOPT_SSL_VERIFYHOST, 0L);
    leave_through_vrf(handle, route.vrf_name);
    handle.set(CURLOPT_MAIL_FROM, job.sender.c_str());
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> receivers(
        curl_slist_append(nullptr, job.receiver.c_str()), &curl_slist_free_all);
    handle.set(CURLOPT_MAIL_RCPT, receivers.get());
    handle.set(CURLOPT_UPLOAD, 1L);
    handle.set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(job.content->size()));
    handle.set(CURLOPT_READFUNCTION, &read_content);
    handle.set(CURLOPT_READDATA, &remainder);
    handle.set(CURLOPT_DEBUGFUNCTION, &listen);
    handle.set(CURLOPT_DEBUGDATA, &heard);
    handle.set(CURLOPT_VERBOSE, 1L);
    const CURLcode result = handle.perform();
    // Whatever goes wrong between the server's consent and the next greeting is a failed handshake.
    return {judge(result, handle, heard, authority),
            result != CURLE_OK && heard.command == encryption_command && heard.code() < first_temporary};
}

}  // namespace

Outcome send_by_smtp(const DeliveryJob& job, const MailRoute& route, const TransferLimits& limits,
                     const std::stop_token& stop) {
    const std::string authority = name_of(route);
    if (std::string reason = why_unusable(route); !reason.empty()) {
        return {Verdict::postponed, authority, std::move(reason)};
    }
    try {
        Transfer sent = transfer(job, route, limits, stop, CURLUSESSL_TRY);
        if (sent.encryption_failed) {
            sent = transfer(job, route, limits, stop, CURLUSESSL_NONE);
        }
        return sent.outcome;
    } catch (const std::exception& error) {
        return {Verdict::postponed, authority, clean_line(error.what())};
    }
}

}  // namespace callhome::service
