#include "signatures/actions.h"

#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <set>

#include "delivery/http_route.h"
#include "messages/text.h"
#include "signatures/bounded_file.h"
#include "signatures/questions.h"
#include "signatures/software_version.h"

namespace callhome::service {
namespace {

using protocol::ResultCode;

const Profile* find_profile(const Configuration& configuration, const std::string& name) {
    const auto found = std::ranges::find(configuration.profiles, name, &Profile::name);
    return found == configuration.profiles.end() ? nullptr : &*found;
}

}  // namespace

SignatureActions::SignatureActions(Catalogue& catalogue, const Configuration& configuration, Means means)
    : catalogue_(catalogue), configuration_(configuration), means_(std::move(means)) {}

// Who tries again sees in the failure table what is wrong; the reply has room for a code only.
ResultCode SignatureActions::refuse(const Origin& origin, FailureStage stage, const Refusal& refusal) {
    const CatalogueEntry* kept = catalogue_.find(origin.id);
    const std::string& name = kept == nullptr ? origin.name : kept->signature->name;
    spdlog::warn("signature {} refused: {}", clean_line(origin.name.empty() ? name : origin.name),
                 clean_line(refusal.why));
    catalogue_.note_failure({.id = origin.id, .name = name, .stage = stage, .at = 0, .why = refusal.why});
    return refusal.code;
}

// Nothing that is not believed is even looked into.
std::variant<Catalogue::Load, ResultCode> SignatureActions::admit(
    std::string xml, const std::optional<DetachedSignature>& signature, const Origin& origin) {
    if (const auto refusal = means_.verify(xml, signature)) {
        return refuse(origin, FailureStage::sign, *refusal);
    }
    auto read = means_.read(xml);
    if (const auto* refusal = std::get_if<Refusal>(&read)) {
        return refuse(origin, FailureStage::parsing, *refusal);
    }
    auto& found = std::get<Signature>(read);
    if (origin.id != 0 && found.id != origin.id) {
        return refuse(origin, FailureStage::parsing,
                      {ResultCode::id_invalid, fmt::format("the file is of signature {}", found.id)});
    }
    return Catalogue::Load{std::move(found), std::move(xml)};
}

ResultCode SignatureActions::store(const std::vector<Catalogue::Load>& loads) {
    std::set<std::uint32_t> ids;
    for (const auto& [id, entry] : catalogue_.entries()) {
        ids.insert(id);
    }
    for (const Catalogue::Load& load : loads) {
        ids.insert(load.signature.id);
    }
    if (ids.size() > most_signatures) {
        const Signature& last = loads.back().signature;
        return refuse(
            {last.id, last.name}, FailureStage::file,
            {ResultCode::resource_missing,
             fmt::format("no more than {} signatures are kept; deinstall some", most_signatures)});
    }
    catalogue_.load(loads);
    return ResultCode::ok;
}

ResultCode SignatureActions::load_file(const std::filesystem::path& path) {
    const Origin origin{0, path.filename().string()};
    // The service's own folder is not the operator's.
    if (!path.is_absolute()) {
        return refuse(origin, FailureStage::file,
                      {ResultCode::folder_missing, "the file's name has to begin with a slash"});
    }
    auto content = read_bounded_file(path, longest_signature_file);
    if (const auto* refusal = std::get_if<Refusal>(&content)) {
        return refuse(origin, FailureStage::file, *refusal);
    }
    auto signing = read_detached_signature(path);
    if (const auto* refusal = std::get_if<Refusal>(&signing)) {
        return refuse(origin, FailureStage::sign, *refusal);
    }
    auto load = admit(std::move(std::get<FileContent>(content).bytes),
                      std::get<std::optional<DetachedSignature>>(signing), origin);
    if (const auto* code = std::get_if<ResultCode>(&load)) {
        return *code;
    }
    std::vector<Catalogue::Load> loads;
    loads.push_back(std::get<Catalogue::Load>(std::move(load)));
    return store(loads);
}

std::variant<DownloadJob, Refusal> SignatureActions::plan_download(std::uint32_t id) const {
    if (!configuration_.enabled) {
        return Refusal{ResultCode::feature_disabled, "call home is disabled"};
    }
    const std::string& name = catalogue_.settings().profile;
    const Profile* profile = find_profile(configuration_, name);
    if (profile == nullptr) {
        return Refusal{ResultCode::profile_missing,
                       name.empty() ? "no signature profile is configured"
                                    : fmt::format("there is no profile '{}' any more", name)};
    }
    if (profile->urls.empty()) {
        return Refusal{ResultCode::profile_without_address,
                       fmt::format("the profile '{}' has no HTTP address", name)};
    }
    DownloadJob job;
    job.kind = id == protocol::all_signatures ? DownloadKind::all : DownloadKind::one;
    job.id = id;
    job.route = http_route(configuration_);
    for (const ProfileAddress& url : profile->urls) {
        job.urls.push_back(url.address);
    }
    for (const auto& [present, entry] : catalogue_.entries()) {
        job.present[present] = entry.signature->revision;
    }
    return job;
}

void SignatureActions::download(std::uint32_t id, const Done& done) {
    if (id > highest_signature_id) {
        done(ResultCode::id_invalid);
        return;
    }
    const Origin origin{id, id == protocol::all_signatures ? "index.xml" : fmt::format("{}.xml", id)};
    auto job = plan_download(id);
    if (const auto* refusal = std::get_if<Refusal>(&job)) {
        done(refuse(origin, FailureStage::download, *refusal));
        return;
    }
    const DownloadKind kind = std::get<DownloadJob>(job).kind;
    catalogue_.note_download_request(kind);
    const bool is_submitted = means_.download(
        std::get<DownloadJob>(std::move(job)),
        [this, kind, done](DownloadResult result) { done(finish_download(kind, std::move(result))); });
    if (!is_submitted) {
        catalogue_.note_download_result(kind, false);
        done(refuse(origin, FailureStage::download,
                    {ResultCode::queue_refused, "too many downloads wait already"}));
    }
}

// There is no request any more that a failing database could be reported to.
ResultCode SignatureActions::finish_download(DownloadKind kind, DownloadResult result) {
    try {
        const ResultCode code = take_download(std::move(result));
        catalogue_.note_download_result(kind, code == ResultCode::ok);
        return code;
    } catch (const SQLite::Exception& error) {
        spdlog::error("downloaded signatures could not be stored: {}", error.what());
        return ResultCode::store_failed;
    }
}

// What is good is taken together; of the rest, the first reason is told.
ResultCode SignatureActions::take_download(DownloadResult result) {
    if (result.refusal) {
        return refuse({0, "index.xml"}, FailureStage::download, *result.refusal);
    }
    ResultCode code = ResultCode::ok;
    std::vector<Catalogue::Load> loads;
    for (DownloadedFile& file : result.files) {
        const Origin origin{file.id, fmt::format("{}.xml", file.id)};
        std::variant<Catalogue::Load, ResultCode> load =
            file.refusal ? std::variant<Catalogue::Load, ResultCode>(
                               refuse(origin, FailureStage::download, *file.refusal))
                         : admit(std::move(file.xml), file.signature, origin);
        if (auto* good = std::get_if<Catalogue::Load>(&load)) {
            loads.push_back(std::move(*good));
        } else if (code == ResultCode::ok) {
            code = std::get<ResultCode>(load);
        }
    }
    const ResultCode stored = loads.empty() ? ResultCode::ok : store(loads);
    return code == ResultCode::ok ? stored : code;
}

ResultCode SignatureActions::deinstall(std::uint32_t id) {
    if (id == protocol::all_signatures) {
        catalogue_.remove_all();
        return ResultCode::ok;
    }
    if (catalogue_.find(id) == nullptr) {
        return ResultCode::signature_missing;
    }
    catalogue_.remove(id);
    return ResultCode::ok;
}

std::optional<Refusal> SignatureActions::why_not_installed(const Signature& signature,
                                                           const VariableValues& values) const {
    if (!meets_version(means_.software_version, signature.required_version)) {
        return Refusal{ResultCode::cannot_run,
                       fmt::format("version {} of this software is required", signature.required_version)};
    }
    for (const SignatureVariable& variable : signature.variables) {
        const auto value = values.find(variable.name);
        if (value != values.end()) {
            if (auto refusal = refuse_value(variable, value->second)) {
                return refusal;
            }
        } else if (!variable.is_asked_for()) {
            return Refusal{ResultCode::environment_missing,
                           fmt::format("{} is not set; set it in the environment", variable.name)};
        }
    }
    return std::nullopt;
}

ResultCode SignatureActions::install(const CatalogueEntry& entry, const VariableValues& answers) {
    const VariableValues values =
        variables_of(*entry.signature, answers, catalogue_.settings().environment);
    for (const std::string& command : entry.signature->commands) {
        const auto filled = fill_in(command, values);
        if (const auto* refusal = std::get_if<Refusal>(&filled)) {
            return refuse({entry.id, ""}, FailureStage::registration, *refusal);
        }
    }
    catalogue_.install(entry.id, answers);
    return ResultCode::ok;
}

SignatureActions::Installation SignatureActions::begin_install(std::uint32_t id) {
    if (id == 0 || id > highest_signature_id) {
        return {ResultCode::id_invalid, {}};
    }
    const CatalogueEntry* entry = catalogue_.find(id);
    if (entry == nullptr) {
        return {ResultCode::signature_missing, {}};
    }
    const VariableValues& environment = catalogue_.settings().environment;
    // The answers are still to come: what they will be is not held against it here.
    const auto refusal =
        why_not_installed(*entry->signature, variables_of(*entry->signature, {}, environment));
    if (refusal) {
        return {refuse({id, ""}, FailureStage::registration, *refusal), {}};
    }
    auto questions = questions_of(*entry, catalogue_.xml_of(id), environment);
    if (questions.empty()) {
        return {install(*entry, {}), {}};
    }
    return {ResultCode::ok, std::move(questions)};
}

SignatureActions::Installation SignatureActions::finish_install(
    std::uint32_t id, std::vector<protocol::DsQuestionRecord> answered) {
    const CatalogueEntry* entry = catalogue_.find(id);
    if (entry == nullptr) {
        return {ResultCode::signature_missing, std::move(answered)};
    }
    const Answers answers = read_answers(*entry->signature, catalogue_.xml_of(id), answered);
    if (answers.code != ResultCode::ok) {
        return {refuse({id, ""}, FailureStage::registration, {answers.code, answers.why}),
                std::move(answered)};
    }
    const auto refusal = why_not_installed(
        *entry->signature,
        variables_of(*entry->signature, answers.values, catalogue_.settings().environment));
    if (refusal) {
        return {refuse({id, ""}, FailureStage::registration, *refusal), std::move(answered)};
    }
    return {install(*entry, answers.values), std::move(answered)};
}

bool SignatureActions::has_profile(const std::string& name) const {
    return find_profile(configuration_, name) != nullptr;
}

ResultCode SignatureActions::set_profile(const std::string& name) {
    if (!has_profile(name)) {
        return ResultCode::profile_missing;
    }
    catalogue_.set_profile(name);
    return ResultCode::ok;
}

// Without a name, whatever it is.
ResultCode SignatureActions::remove_profile(const std::string& name) {
    const std::string& profile = catalogue_.settings().profile;
    if (profile.empty()) {
        return ResultCode::no_change;
    }
    if (!name.empty() && name != profile) {
        return ResultCode::profile_missing;
    }
    catalogue_.set_profile("");
    return ResultCode::ok;
}

ResultCode SignatureActions::set_variable(const std::string& name, const std::string& value) {
    if (!is_variable_name(name) || std::ranges::find(built_in::names, name) != built_in::names.end()) {
        return ResultCode::variable_name_invalid;
    }
    if (value.empty() || refuse_value({}, value)) {
        return ResultCode::parameter_invalid;
    }
    const VariableValues& environment = catalogue_.settings().environment;
    if (environment.size() >= most_signature_variables && !environment.contains(name)) {
        return ResultCode::resource_missing;
    }
    catalogue_.set_variable(name, value);
    return ResultCode::ok;
}

ResultCode SignatureActions::remove_variable(const std::string& name) {
    if (!catalogue_.settings().environment.contains(name)) {
        return ResultCode::environment_missing;
    }
    catalogue_.remove_variable(name);
    return ResultCode::ok;
}

}  // namespace callhome::service
