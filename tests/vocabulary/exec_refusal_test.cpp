// The reasons of refusals and their names.
#include <fenletexec/exec_refusal.h>

#include <climits>
#include <gtest/gtest.h>

namespace Fenlet {
namespace {

TEST(ExecRefusals, AreNamedByTheirNumber) {
    const struct {
        ExecRefusal refusal;
        int number;
        const char* name;
    } rows[] = {
        {ExecRefusal::None, 0, "None"},
        {ExecRefusal::NotConfigured, 1, "NotConfigured"},
        {ExecRefusal::StaleOpCodeTable, 2, "StaleOpCodeTable"},
        {ExecRefusal::UnsupportedFormat, 3, "UnsupportedFormat"},
        {ExecRefusal::ScratchRefused, 4, "ScratchRefused"},
        {ExecRefusal::BadRegister, 5, "BadRegister"},
        {ExecRefusal::BadImmediate, 6, "BadImmediate"},
        {ExecRefusal::ArityMismatch, 7, "ArityMismatch"},
        {ExecRefusal::MultiplicityMismatch, 8, "MultiplicityMismatch"},
        {ExecRefusal::KindMismatch, 9, "KindMismatch"},
        {ExecRefusal::UnboundField, 10, "UnboundField"},
        {ExecRefusal::UnboundUniform, 11, "UnboundUniform"},
        {ExecRefusal::UnboundSampler, 12, "UnboundSampler"},
        {ExecRefusal::ProviderFailed, 13, "ProviderFailed"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(static_cast<int>(row.refusal), row.number);
        EXPECT_STREQ(execRefusalName(row.refusal), row.name);
    }
    EXPECT_EQ(sizeof(ExecRefusal), 4u);
}

TEST(ExecRefusals, OutsideTheListReadAsNone) {
    for (const int number : {14, 15, 1000, -1, INT_MAX, INT_MIN})
        EXPECT_STREQ(execRefusalName(static_cast<ExecRefusal>(number)), "None") << number;
}

} // namespace
} // namespace Fenlet
