// Each result code that requests of signatures give, and how it comes about.
#include "signature_requests_fixture.h"

namespace callhome::service {
namespace {

class ResultCodeTest : public SignatureRequestsTest {
 protected:
    ResultCode install_of(const Signature& signature) {
        load(signature, "text");
        return act(action(SignatureAction::install, signature.id)).code;
    }
    ResultCode load_of_text(const std::string& text) {
        folder.write("ds.xml", text);
        return act(load_of(folder / "ds.xml")).code;
    }
    ResultCode download(std::uint32_t id) {
        begin(action(SignatureAction::download, id));
        return late_answer().code;
    }
    ResultCode download_of(DownloadResult result) {
        configure_download();
        begin(action(SignatureAction::download, 7));
        return finish_download(std::move(result)).code;
    }
};

TEST_F(ResultCodeTest, NoChange) {
    EXPECT_EQ(set_profile("", Operation::remove), ResultCode::no_change);
}

TEST_F(ResultCodeTest, StoreFailed) {
    const std::string path = put_file(plain_signature(7), "seven");
    database.connection().exec("PRAGMA query_only = ON");
    EXPECT_EQ(act(load_of(path)).code, ResultCode::store_failed);
    EXPECT_EQ(set_variable("ds_site", "3"), ResultCode::store_failed);
    EXPECT_EQ(set_profile("full_txt"), ResultCode::store_failed);
    EXPECT_TRUE(catalogue.entries().empty());
}

TEST_F(ResultCodeTest, StoreFailedAlsoWhenADownloadHasCome) {
    configure_download();
    files.known["seven"] = plain_signature(7);
    begin(action(SignatureAction::download, 7));
    database.connection().exec("PRAGMA query_only = ON");
    EXPECT_EQ(finish_download(downloaded(7, "seven")).code, ResultCode::store_failed);
    EXPECT_TRUE(catalogue.entries().empty());
}

TEST_F(ResultCodeTest, QueueRefused) {
    configure_download();
    files.takes_downloads = false;
    EXPECT_EQ(download(7), ResultCode::queue_refused);
    EXPECT_EQ(catalogue.downloads(DownloadKind::one).failed, 1U);
}

TEST_F(ResultCodeTest, ProfileWithoutAddress) {
    store.set_enabled(true);
    catalogue.set_profile("full_txt");
    EXPECT_EQ(download(7), ResultCode::profile_without_address);
}

TEST_F(ResultCodeTest, ProfileMissing) {
    EXPECT_EQ(set_profile("nobody"), ResultCode::profile_missing);
    EXPECT_EQ(set_profile("full_txt"), ResultCode::ok);
    EXPECT_EQ(set_profile("short_txt", Operation::remove), ResultCode::profile_missing);
}

TEST_F(ResultCodeTest, ProfileMissingForADownload) {
    store.set_enabled(true);
    EXPECT_EQ(download(7), ResultCode::profile_missing);
    expect_failure(7, FailureStage::download, "no signature profile is configured");
    catalogue.set_profile("gone");
    EXPECT_EQ(download(7), ResultCode::profile_missing);
    expect_failure(7, FailureStage::download, "'gone'");
}

TEST_F(ResultCodeTest, FeatureDisabled) {
    configure_download();
    store.set_enabled(false);
    EXPECT_EQ(download(7), ResultCode::feature_disabled);
}

TEST_F(ResultCodeTest, ParameterInvalid) {
    EXPECT_EQ(set_variable("ds_site", ""), ResultCode::parameter_invalid);
    EXPECT_EQ(set_variable("ds_site", "a\nb"), ResultCode::parameter_invalid);
    EXPECT_EQ(set_variable("ds_site", "a | include b"), ResultCode::parameter_invalid);
}

TEST_F(ResultCodeTest, ResourceMissingWhenThereAreTooManyVariables) {
    for (int number = 0; number < 64; ++number) {
        ASSERT_EQ(set_variable("ds_" + std::to_string(number), "x"), ResultCode::ok);
    }
    EXPECT_EQ(set_variable("ds_more", "x"), ResultCode::resource_missing);
    EXPECT_EQ(set_variable("ds_0", "y"), ResultCode::ok);
}

TEST_F(ResultCodeTest, ResourceMissingWhenThereAreTooManySignatures) {
    std::vector<Catalogue::Load> loads;
    for (std::uint32_t id = 1; id <= most_signatures; ++id) {
        loads.push_back({plain_signature(id), "text"});
    }
    catalogue.load(loads);
    EXPECT_EQ(act(load_of(put_file(plain_signature(1000), "more"))).code, ResultCode::resource_missing);
    EXPECT_EQ(act(load_of(put_file(plain_signature(1), "again"))).code, ResultCode::ok);
}

TEST_F(ResultCodeTest, FileNotOpened) {
    EXPECT_EQ(act(load_of(folder / "missing.xml")).code, ResultCode::file_not_opened);
    EXPECT_EQ(act(load_of(folder.path())).code, ResultCode::file_not_opened);
}

TEST_F(ResultCodeTest, FileNotRead) {
    EXPECT_EQ(act(load_of("/proc/self/mem")).code, ResultCode::file_not_read);
}

TEST_F(ResultCodeTest, FolderMissing) {
    EXPECT_EQ(act(load_of("ds.xml")).code, ResultCode::folder_missing);
    EXPECT_EQ(act(load_of("")).code, ResultCode::folder_missing);
}

TEST_F(ResultCodeTest, WhatComesOfADownloadIsHandedOn) {
    DownloadResult result;
    result.files.emplace_back().id = 7;
    result.files.back().refusal = Refusal{ResultCode::timed_out, "nobody answers"};
    EXPECT_EQ(download_of(std::move(result)), ResultCode::timed_out);
    expect_failure(7, FailureStage::download, "nobody answers");
}

TEST_F(ResultCodeTest, WhatIsWrongWithAnIndexIsHandedOn) {
    DownloadResult result;
    result.refusal = Refusal{ResultCode::http_answer_unreadable, "index, line 1: no"};
    EXPECT_EQ(download_of(std::move(result)), ResultCode::http_answer_unreadable);
    expect_failure(0, FailureStage::download, "index, line 1: no");
}

TEST_F(ResultCodeTest, ActionWrong) {
    EXPECT_EQ(act(action(static_cast<SignatureAction>(29))).code, ResultCode::action_wrong);
    EXPECT_EQ(act(action(static_cast<SignatureAction>(35))).code, ResultCode::action_wrong);
}

TEST_F(ResultCodeTest, CannotRun) {
    Signature signature = plain_signature(7);
    signature.required_version = "1.3";
    EXPECT_EQ(install_of(signature), ResultCode::cannot_run);
    expect_failure(7, FailureStage::registration, "version 1.3");
    signature.required_version = "1.2";
    EXPECT_EQ(install_of(signature), ResultCode::ok);
}

TEST_F(ResultCodeTest, EnvironmentMissing) {
    Signature signature = plain_signature(7);
    signature.variables.emplace_back().name = "ds_site";
    EXPECT_EQ(install_of(signature), ResultCode::environment_missing);
    EXPECT_EQ(set_variable("ds_site", "3"), ResultCode::ok);
    EXPECT_EQ(install_of(signature), ResultCode::ok);
    EXPECT_EQ(set_variable("ds_room", "", Operation::remove), ResultCode::environment_missing);
}

TEST_F(ResultCodeTest, IdInvalid) {
    EXPECT_EQ(act(action(SignatureAction::install, 0)).code, ResultCode::id_invalid);
    EXPECT_EQ(act(action(SignatureAction::install, 100'000'000)).code, ResultCode::id_invalid);
    EXPECT_EQ(download(100'000'000), ResultCode::id_invalid);
}

TEST_F(ResultCodeTest, IdInvalidOfAFileThatIsAnother) {
    files.known["eight"] = plain_signature(8);
    EXPECT_EQ(download_of(downloaded(7, "eight")), ResultCode::id_invalid);
    EXPECT_TRUE(catalogue.entries().empty());
    expect_failure(7, FailureStage::parsing, "the file is of signature 8");
}

TEST_F(ResultCodeTest, SignatureMissing) {
    EXPECT_EQ(act(action(SignatureAction::install, 7)).code, ResultCode::signature_missing);
    EXPECT_EQ(act(action(SignatureAction::deinstall, 7)).code, ResultCode::signature_missing);
    EXPECT_EQ(answer_questions(7, {}).code, ResultCode::signature_missing);
}

TEST_F(ResultCodeTest, OverLength) {
    EXPECT_EQ(load_of_text(std::string(1024UL * 1024UL + 1, 'x')), ResultCode::over_length);
}

TEST_F(ResultCodeTest, WhatAReaderRefusesIsHandedOn) {
    files.unreadable["odd"] = {ResultCode::tag_unsupported, "line 3: <odd> is not known"};
    EXPECT_EQ(load_of_text("odd"), ResultCode::tag_unsupported);
    expect_failure(0, FailureStage::parsing, "line 3: <odd> is not known");
    EXPECT_EQ(load_of_text("not XML"), ResultCode::xml_unreadable);
}

TEST_F(ResultCodeTest, VariableNameInvalid) {
    for (const char* name : {"", "site", "ds_", "ds_Site", "ds_a b", "ds_event"}) {
        EXPECT_EQ(set_variable(name, "3"), ResultCode::variable_name_invalid) << name;
    }
}

TEST_F(ResultCodeTest, VariableUnresolved) {
    Signature signature = plain_signature(7);
    signature.commands = {"show interface $ds_port"};
    EXPECT_EQ(install_of(signature), ResultCode::variable_unresolved);
    EXPECT_EQ(catalogue.find(7)->state, SignatureState::loaded);
}

TEST_F(ResultCodeTest, PromptValueInvalidOfTheEnvironment) {
    Signature signature = plain_signature(7);
    SignatureVariable& site = signature.variables.emplace_back();
    site.name = "ds_site";
    site.pattern = "[0-9]+";
    EXPECT_EQ(set_variable("ds_site", "cellar"), ResultCode::ok);
    EXPECT_EQ(install_of(signature), ResultCode::prompt_value_invalid);
}

TEST_F(ResultCodeTest, PromptMissing) {
    load(asking_signature(7), "seven");
    EXPECT_EQ(answer_questions(7, {}).code, ResultCode::prompt_missing);
}

TEST_F(ResultCodeTest, NotTrusted) {
    files.untrusted.insert("seven");
    EXPECT_EQ(load_of_text("seven"), ResultCode::not_trusted);
}

}  // namespace
}  // namespace callhome::service
