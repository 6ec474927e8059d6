#include <ostream>

#include "command.h"

namespace callhome::test {
namespace {

struct Mode {
    const char* name;
    uint32_t (*enter)(CommandContext*);
};

void PrintTo(const Mode& mode, std::ostream* out) {
    *out << mode.name;
}

class ModeTest : public LibraryTest, public testing::WithParamInterface<Mode> {};

TEST_P(ModeTest, IsEnteredWithoutAWord) {
    Command command;
    const auto [result, out, err] = run(GetParam().enter, command);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(out + err, "");
    EXPECT_EQ(cmd_type, 2U);
    EXPECT_EQ(asked(), Asked{});
}

TEST_P(ModeTest, HasNoNoForm) {
    Command command;
    const auto [result, out, err] = run(GetParam().enter, command.no());
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, no_form_refusal);
    EXPECT_EQ(cmd_type, 2U);
}

TEST_P(ModeTest, IsEnteredWhateverTheFormSaysWhenTheCheckIsBypassed) {
    for (const std::uint32_t no_form : {0U, 1U, 7U}) {
        Command command;
        command.context()->no_form = no_form;
        command.context()->mode_bypass = 5;
        const auto [result, out, err] = run(GetParam().enter, command);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(out + err, "");
        EXPECT_EQ(cmd_type, 2U);
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, ModeTest,
                         testing::Values(Mode{"callhome", callhome_mode},
                                         Mode{"diagnostic_signature", ch_config_gch_ds_mode}),
                         [](const auto& mode) { return mode.param.name; });

}  // namespace
}  // namespace callhome::test
