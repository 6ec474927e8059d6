#include "privacy/mask.h"

#include <gtest/gtest.h>

#include "messages/text.h"

namespace callhome::service {
namespace {

TEST(Mask, IsFoundAtTheBeginningOfAText) {
    EXPECT_EQ(mask_text(3), "<masked-3>");
    EXPECT_EQ(mask_at_beginning("<masked-3>"), 10U);
    EXPECT_EQ(mask_at_beginning("<masked-12> and more"), 11U);
    for (const char* none : {"", "<", "<masked-", "<masked->", "<masked-3", "<masked-x>", " <masked-3>",
                             "<masked-123456789012345678901>"}) {
        EXPECT_EQ(mask_at_beginning(none), 0U) << none;
    }
}

TEST(Mask, StaysWholeOrGoesWhereATextIsCut) {
    const std::string text = "a <masked-12> b";
    for (std::size_t size = 0; size <= text.size(); ++size) {
        const bool within = size > 2 && size < 13;
        EXPECT_EQ(cut_to(text, size), text.substr(0, within ? 2 : size)) << size;
    }
}

TEST(Mask, OnlyAWholeOneIsSpared) {
    EXPECT_EQ(cut_to("a < b and more", 5), "a < b");
    EXPECT_EQ(cut_to("<masked-x and more", 4), "<mas");
    EXPECT_EQ(cut_to("<<masked-1>", 5), "<");
    EXPECT_EQ(cut_to("<masked-1><masked-2>", 15), "<masked-1>");
}

}  // namespace
}  // namespace callhome::service
