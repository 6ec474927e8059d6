// callhome-sign: for those who write diagnostic signatures and vouch for them.
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <variant>
#include <vector>

#include "signatures/bounded_file.h"
#include "signatures/signature_file.h"
#include "signatures/signer.h"
#include "signatures/signing.h"

namespace callhome::service {
namespace {

constexpr mode_t secret_file = S_IRUSR | S_IWUSR;
constexpr mode_t open_file = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;
constexpr std::size_t longest_key_file = 65'536;

enum ExitStatus : int {
    exit_done = 0,
    exit_failed = 1,
    exit_usage = 2,
};

// Why a command does not end well.
struct Failure {
    std::string why;
};

struct Arguments {
    std::string key_name;
    std::string key_file;
    std::string certificate_file;
    std::string key_folder;
    std::vector<std::string> files;
};

std::string read_file(const std::filesystem::path& path, std::size_t limit) {
    auto read = read_bounded_file(path, limit);
    if (auto* refusal = std::get_if<Refusal>(&read)) {
        throw Failure{std::move(refusal->why)};
    }
    return std::get<FileContent>(std::move(read)).bytes;
}

[[noreturn]] void fail_to_write(const std::string& path) {
    throw Failure{fmt::format("{} cannot be written: {}", path, std::generic_category().message(errno))};
}

// A file that was not there before.
void write_new_file(const std::string& path, std::string_view bytes, mode_t mode) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
    if (file < 0) {
        fail_to_write(path);
    }
    const bool is_written = ::write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    if (::close(file) != 0 || !is_written) {
        ::unlink(path.c_str());
        fail_to_write(path);
    }
}

// Takes the place of what was there; nobody sees half of it.
void replace_file(const std::string& path, std::string_view bytes) {
    const std::string beside = fmt::format("{}.{}", path, ::getpid());
    write_new_file(beside, bytes, open_file);
    if (::rename(beside.c_str(), path.c_str()) != 0) {
        ::unlink(beside.c_str());
        fail_to_write(path);
    }
}

template <typename T>
T unless_failed(std::variant<T, SigningError> result) {
    if (auto* error = std::get_if<SigningError>(&result)) {
        throw Failure{std::move(error->why)};
    }
    return std::get<T>(std::move(result));
}

void make_key(const Arguments& arguments) {
    const auto pair = unless_failed(make_ed25519_key());
    const std::string secret = arguments.key_name + ".key";
    const std::string open = arguments.key_name + ".pem";
    write_new_file(secret, pair.secret_pem, secret_file);
    write_new_file(open, pair.public_pem, open_file);
    fmt::print("{} signs; keep it to yourself\n{} goes to the key folder of each service\n", secret, open);
}

std::string_view suffix_of(SigningMethod method) {
    for (const SigningForm& form : signing_forms) {
        if (form.method == method) {
            return form.suffix;
        }
    }
    return {};
}

void sign_file(const std::string& file, const std::string& key, const std::string& certificates) {
    const std::string content = read_file(file, longest_signature_file);
    const auto signature = unless_failed(certificates.empty() ? sign_ed25519(content, key)
                                                              : sign_cms(content, key, certificates));
    const std::string path = file + std::string(suffix_of(signature.method));
    replace_file(path, signature.bytes);
    fmt::print("{}\n", path);
}

void sign(const Arguments& arguments) {
    const std::string key = read_file(arguments.key_file, longest_key_file);
    const std::string certificates =
        arguments.certificate_file.empty() ? "" : read_file(arguments.certificate_file, longest_key_file);
    for (const std::string& file : arguments.files) {
        sign_file(file, key, certificates);
    }
}

void require_none(const std::string& file, const std::optional<Refusal>& refusal) {
    if (refusal) {
        throw Failure{fmt::format("{}: {}", file, refusal->why)};
    }
}

void verify(const Arguments& arguments) {
    for (const std::string& file : arguments.files) {
        const std::string content = read_file(file, longest_signature_file);
        const auto signature = read_detached_signature(file);
        if (const auto* refusal = std::get_if<Refusal>(&signature)) {
            throw Failure{refusal->why};
        }
        require_none(file, refuse_untrusted(content, std::get<std::optional<DetachedSignature>>(signature),
                                            {.key_folder = arguments.key_folder, .allow_unsigned = false}));
        fmt::print("{}: the signature counts\n", file);
    }
}

void check(const Arguments& arguments) {
    for (const std::string& file : arguments.files) {
        const auto read = read_signature(read_file(file, longest_signature_file));
        if (const auto* refusal = std::get_if<Refusal>(&read)) {
            throw Failure{fmt::format("{}: {} (code {})", file, refusal->why,
                                      static_cast<std::uint32_t>(refusal->code))};
        }
        const auto& signature = std::get<Signature>(read);
        fmt::print("{}: {} {}, revision {}\n", file, signature.id, signature.name, signature.revision);
    }
}

void add_files(CLI::App& command, Arguments& arguments) {
    command.add_option("FILE", arguments.files, "The signature file")->required();
}

using Run = void (*)(const Arguments&);

void add_commands(CLI::App& app, Arguments& arguments, Run& run) {
    const auto add = [&](const char* name, const char* help, Run its) {
        CLI::App* command = app.add_subcommand(name, help);
        command->callback([&run, its] { run = its; });
        return command;
    };
    CLI::App* make = add("make-key", "Makes an Ed25519 key pair, NAME.key and NAME.pem", make_key);
    make->add_option("NAME", arguments.key_name, "Path of the files, without ending")->required();
    CLI::App* signing = add("sign", "Signs files: writes FILE.sig, or FILE.p7s with a certificate", sign);
    signing->add_option("--key", arguments.key_file, "The secret key, PEM")
        ->required()
        ->option_text("FILE");
    signing
        ->add_option("--certificate", arguments.certificate_file,
                     "The certificate of the key, PEM; behind it those that lead to its authority")
        ->option_text("FILE");
    add_files(*signing, arguments);
    CLI::App* verifying = add("verify", "Verifies files as the service does", verify);
    verifying->add_option("--keys", arguments.key_folder, "The folder of trusted keys")
        ->required()
        ->option_text("FOLDER");
    add_files(*verifying, arguments);
    add_files(*add("check", "Reads files as the service does", check), arguments);
}

ExitStatus run_command(int argument_count, const char* const* words) {
    Arguments arguments;
    Run run = nullptr;
    CLI::App app("Signs diagnostic signatures of call home, and verifies them.", "callhome-sign");
    app.set_version_flag("--version", "callhome-sign " CALLHOME_VERSION);
    app.require_subcommand(1);
    add_commands(app, arguments, run);
    try {
        app.parse(argument_count, words);
        run(arguments);
        return exit_done;
    } catch (const CLI::Success& request) {
        app.exit(request);
        return exit_done;
    } catch (const CLI::ParseError& error) {
        app.exit(error);
        return exit_usage;
    } catch (const Failure& failure) {
        fmt::print(stderr, "callhome-sign: {}\n", failure.why);
        return exit_failed;
    }
}

}  // namespace
}  // namespace callhome::service

int main(int argument_count, char** arguments) {
    try {
        return callhome::service::run_command(argument_count, arguments);
    } catch (const std::exception& error) {
        fmt::print(stderr, "callhome-sign: {}\n", error.what());
        return callhome::service::exit_failed;
    }
}
