#include "delivery/smtp_client.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "delivery/curl_handle.h"
#include "delivery/endpoint.h"
#include "delivery/server_settings.h"
#include "delivery/smtp_conversation.h"
#include "messages/text.h"

namespace callhome::service {
namespace {

constexpr std::uint32_t standard_port = 25;
constexpr std::size_t longest_reason = 400;  // bytes of a server's words that are kept
constexpr const char* protocols = "smtp,smtps";
constexpr const char* goodbye = "QUIT";
constexpr const char* plain_logins = "AUTH=PLAIN;AUTH=LOGIN";  // they pass encrypted connections only
constexpr const char* settings_section = "MAIL SERVERS in callhomed(8)";

// Reply codes of RFC 5321, 4.2.1; those from 530 to 539 ask for encryption or a login (RFC 3207, 4954),
// which is a matter between us and this server, not one of the receiver.
constexpr int first_temporary = 400;
constexpr int first_permanent = 500;
constexpr int first_login = 530;
constexpr int last_login = 539;

// Content that is still to be read, as long as the server may have it.
struct Content {
    std::string_view rest;
    const Conversation& heard;
};

// The last moment at which a server that has offered encryption and then refuses it can be left: what it
// has heard so far is who writes to whom.
size_t read_content(char* buffer, size_t size, size_t count, void* context) noexcept {
    auto& content = *static_cast<Content*>(context);
    if (content.heard.was_refused_encryption()) {
        return CURL_READFUNC_ABORT;
    }
    const std::size_t length = std::min(size * count, content.rest.size());
    std::memcpy(buffer, content.rest.data(), length);
    content.rest.remove_prefix(length);
    return length;
}

int listen(CURL* /*handle*/, curl_infotype type, char* data, size_t size, void* context) noexcept {
    auto& heard = *static_cast<Conversation*>(context);
    const std::string_view bytes(data, size);
    try {
        if (type == CURLINFO_HEADER_OUT) {
            heard.take_command(bytes);
        } else if (type == CURLINFO_DATA_OUT) {
            heard.take_content();
        } else if (type == CURLINFO_HEADER_IN) {
            heard.take_reply(bytes);
        }
    } catch (const std::exception&) {
        // What was not heard is not told; the transfer goes on.
    }
    return 0;
}

std::uint32_t port_of(const MailRoute& route) {
    return route.port == 0 ? standard_port : route.port;
}

// Why the route leads nowhere; empty when it can be tried.
std::string why_unusable(const MailRoute& route) {
    return is_endpoint(route.host, port_of(route)) ? why_no_vrf(route.vrf_name)
                                                   : "this is not the name or address of a mail server";
}

// One try with one server.
struct Transfer {
    const DeliveryJob& job;
    const MailRoute& route;
    const TransferLimits& limits;
    const MailServerSettings& settings;
    bool has_encrypted = false;  // a moment ago

    // A login and a server that has once shown that it can do better go through nothing less.
    bool demands_encryption() const {
        const bool known =
            settings.encryption == Encryption::as_known && (route.is_known_to_encrypt || has_encrypted);
        return settings.encryption == Encryption::required || known || !settings.login.user.empty();
    }
    bool encrypts_on_connect() const { return settings.encryption == Encryption::on_connect; }
    long encryption() const {
        if (settings.encryption == Encryption::off) {
            return CURLUSESSL_NONE;
        }
        return demands_encryption() ? CURLUSESSL_ALL : CURLUSESSL_TRY;
    }
    // Who is expected to be behind the certificate.
    const std::string& certified_name() const {
        return settings.certificate_name.empty() ? route.host : settings.certificate_name;
    }
};

std::string why_not_encrypted(const Transfer& transfer, const Conversation& heard) {
    if (heard.was_refused_encryption()) {
        return fmt::format("it offers encryption and then refuses it: {}", clean_line(heard.refusal()));
    }
    if (transfer.settings.encryption == Encryption::required) {
        return "it does not offer encryption (STARTTLS), which its settings require";
    }
    if (!transfer.settings.login.user.empty()) {
        return "it does not offer encryption (STARTTLS), without which no login is sent";
    }
    return fmt::format(
        "it does not offer encryption (STARTTLS) any more, as it did before; if that is meant, "
        "put 'encryption offered' into its settings, see {}",
        settings_section);
}

// That the other side has left is not an error of reading to an operator; and which of its answers did not
// come tells a server that is slow from one that is wrong.
std::string text_of_break(const std::string& text, const CurlHandle& handle, const Conversation& heard) {
    constexpr std::string_view closed = "response reading failed";
    if (!handle.was_connected()) {
        return text;
    }
    return fmt::format("{} while {}", text.starts_with(closed) ? "it closed the connection" : text,
                       heard.expected());
}

// What libcurl says, with what it means for this server where that is more than a broken connection.
std::string text_of_failure(CURLcode result, const CurlHandle& handle, const Transfer& transfer,
                            const Conversation& heard) {
    std::string text = handle.error_text(result);
    switch (result) {
        case CURLE_USE_SSL_FAILED:
            return why_not_encrypted(transfer, heard);
        case CURLE_PEER_FAILED_VERIFICATION:
            return fmt::format("{}; see {}", text, settings_section);
        case CURLE_SSL_CACERT_BADFILE:
            return fmt::format("the certificates that shall vouch for it cannot be used: {}", text);
        case CURLE_SSL_CONNECT_ERROR:
            return fmt::format("the connection cannot be encrypted: {}", text);
        default:
            return text_of_break(text, handle, heard);
    }
}

bool is_about_encryption(CURLcode result) {
    constexpr std::array codes{CURLE_USE_SSL_FAILED, CURLE_PEER_FAILED_VERIFICATION,
                               CURLE_SSL_CACERT_BADFILE, CURLE_SSL_CONNECT_ERROR};
    return std::ranges::find(codes, result) != codes.end();
}

// The server's own words are left out: it has just heard the secret.
std::string why_no_login(const Transfer& transfer, const Conversation& heard) {
    return heard.code() < first_temporary
               ? fmt::format("it takes no login of {} in a way that this service knows",
                             clean_line(transfer.settings.login.user))
               : fmt::format("it refuses the login of {} with {}", clean_line(transfer.settings.login.user),
                             heard.code());
}

std::string reason_of(CURLcode result, const CurlHandle& handle, const Transfer& transfer,
                      const Conversation& heard) {
    if (heard.was_refused_encryption()) {
        return why_not_encrypted(transfer, heard);
    }
    if (result == CURLE_LOGIN_DENIED || (heard.is_logging_in() && heard.code() >= first_temporary)) {
        return why_no_login(transfer, heard);
    }
    return heard.code() < first_temporary || is_about_encryption(result)
               ? text_of_failure(result, handle, transfer, heard)
               : clean_line(heard.reply());
}

Outcome judge(CURLcode result, const CurlHandle& handle, const Transfer& transfer,
              const Conversation& heard) {
    const std::string authority = name_of(transfer.route);
    if (result == CURLE_OK) {
        Outcome delivered{Verdict::delivered, authority, ""};
        delivered.is_encrypted = heard.is_encrypted() || transfer.encrypts_on_connect();
        return delivered;
    }
    if (result == CURLE_ABORTED_BY_CALLBACK && !heard.was_refused_encryption()) {
        return {Verdict::stopped, authority, ""};
    }
    const int code = heard.code();
    const bool login_wanted = code >= first_login && code <= last_login;
    const bool refused = code >= first_permanent && !login_wanted && heard.is_about_the_mail() &&
                         !heard.was_refused_encryption();
    const std::string reason = reason_of(result, handle, transfer, heard);
    Outcome failed{refused ? Verdict::refused : Verdict::postponed, authority,
                   without(transfer.settings.login.secret, std::string(cut_to(reason, longest_reason)))};
    failed.is_server_down = !heard.is_about_the_mail();
    return failed;
}

void secure(CurlHandle& handle, const Transfer& transfer) {
    handle.set(CURLOPT_USE_SSL, transfer.encryption());
    if (!transfer.settings.authorities.empty()) {
        handle.set(CURLOPT_CAINFO, transfer.settings.authorities.c_str());
        handle.set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    }
    if (!transfer.settings.login.user.empty()) {
        handle.set(CURLOPT_LOGIN_OPTIONS, plain_logins);
        handle.set(CURLOPT_USERNAME, transfer.settings.login.user.c_str());
        handle.set(CURLOPT_PASSWORD, transfer.settings.login.secret.c_str());
    }
}

// A certificate bears the name in the URL: where that is another one than the host's, the way is told
// apart.
std::string direct(CurlHandle& handle, const Transfer& transfer) {
    const MailRoute& route = transfer.route;
    const std::string& name = transfer.certified_name();
    if (!is_endpoint(name, port_of(route))) {
        return "the certificate-name in its settings is not the name of a host";
    }
    const char* scheme = transfer.encrypts_on_connect() ? "smtps" : "smtp";
    handle.set(CURLOPT_URL,
               fmt::format("{}://{}/{}", scheme, authority_of(name, port_of(route)), transfer.job.own_name)
                   .c_str());
    if (name != route.host) {
        handle.connect_to(authority_of(route.host, port_of(route)));
    }
    leave_through_vrf(handle, route.vrf_name);
    return find_within_vrf(handle, route.vrf_name, route.host, port_of(route), transfer.limits);
}

Way way_of(const Transfer& transfer) {
    const MailServerSettings& settings = transfer.settings;
    const std::filesystem::path& authorities =
        settings.authorities.empty() ? transfer.limits.authorities : settings.authorities;
    return {place_of(transfer.route),
            {transfer.job.own_name, transfer.encrypts_on_connect() ? "smtps" : "smtp",
             std::to_string(transfer.encryption()), transfer.certified_name(), authorities.string(),
             stamp_of(authorities), settings.login.user, settings.login.secret}};
}

struct Opened {
    std::unique_ptr<TransferConnection> connection;
    std::string why_not;
};

// Ready to be opened, at the first transfer.
Opened open_connection(const Transfer& transfer, const std::stop_token& stop) {
    auto connection =
        std::make_unique<TransferConnection>(way_of(transfer), protocols, goodbye, transfer.limits, stop);
    std::string why_not = direct(connection->handle(), transfer);
    secure(connection->handle(), transfer);
    return {std::move(connection), std::move(why_not)};
}

// Nothing of what this is given by address is known to libcurl when it is over.
CURLcode carry(const DeliveryJob& job, CurlHandle& handle, Content& content, Conversation& heard) {
    const CurlList receivers = curl_list(job.receiver);
    handle.set(CURLOPT_MAIL_FROM, job.sender.c_str());
    handle.set(CURLOPT_UPLOAD, 1L);
    handle.set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(job.content->size()));
    handle.set(CURLOPT_MAIL_RCPT, receivers.get());
    handle.set(CURLOPT_READFUNCTION, &read_content);
    handle.set(CURLOPT_READDATA, &content);
    handle.set(CURLOPT_DEBUGFUNCTION, &listen);
    handle.set(CURLOPT_DEBUGDATA, &heard);
    handle.set(CURLOPT_VERBOSE, 1L);
    const CURLcode result = handle.perform();
    handle.release();
    return result;
}

// The connection was there no more, or the server wanted to have no more mail over it; and it cannot have
// this one.
bool has_ended_before(CURLcode result, const Content& content, const Conversation& heard) {
    return result != CURLE_OK && result != CURLE_ABORTED_BY_CALLBACK &&
           result != CURLE_OPERATION_TIMEDOUT && !content.rest.empty() &&
           heard.may_be_about_the_connection();
}

// Nothing when another connection has to be opened.
std::optional<Outcome> perform(const Transfer& transfer, std::unique_ptr<TransferConnection> connection,
                               KeptConnection& kept) {
    Conversation heard(connection->is_encrypted);
    Content content{*transfer.job.content, heard};
    const CURLcode result = carry(transfer.job, connection->handle(), content, heard);
    if (connection->was_used() && has_ended_before(result, content, heard)) {
        return std::nullopt;
    }
    Outcome outcome = judge(result, connection->handle(), transfer, heard);
    if (outcome.verdict == Verdict::delivered) {
        connection->is_encrypted = outcome.is_encrypted;
        kept.keep(std::move(connection));
    }
    return outcome;
}

Outcome send(Transfer transfer, const std::stop_token& stop, KeptConnection& kept) {
    const Way way = way_of(transfer);
    transfer.has_encrypted = kept.place() == way.place && kept.is_encrypted();
    if (auto connection = kept.take(way); connection != nullptr) {
        connection->handle().obey(stop);
        if (auto outcome = perform(transfer, std::move(connection), kept)) {
            return *std::move(outcome);
        }
    }
    Opened opened = open_connection(transfer, stop);
    if (!opened.why_not.empty()) {
        return {Verdict::postponed, name_of(transfer.route), std::move(opened.why_not)};
    }
    return perform(transfer, std::move(opened.connection), kept).value();
}

}  // namespace

std::string name_of(const MailRoute& route) {
    return authority_of(route.host, port_of(route));
}

std::string place_of(const MailRoute& route) {
    return fmt::format("mail {} {}", name_of(route), route.vrf_name);
}

Outcome send_by_smtp(const DeliveryJob& job, const MailRoute& route, const TransferLimits& limits,
                     const std::stop_token& stop, KeptConnection& kept) {
    if (std::string reason = why_unusable(route); !reason.empty()) {
        return {Verdict::postponed, name_of(route), std::move(reason)};
    }
    const auto settings = mail_server_settings(limits.server_folder, route.host);
    if (const auto* unusable = std::get_if<UnusableSettings>(&settings)) {
        return {Verdict::postponed, name_of(route), unusable->why};
    }
    try {
        return send({job, route, limits, std::get<MailServerSettings>(settings)}, stop, kept);
    } catch (const std::exception& error) {
        return {Verdict::postponed, name_of(route), clean_line(error.what())};
    }
}

}  // namespace callhome::service
