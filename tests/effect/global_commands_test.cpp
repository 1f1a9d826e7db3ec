// Global set-up and set-down, about, and the commands that must do nothing.
#include "fake_host.h"
#include "shell/global_data.h"

#include <gtest/gtest.h>

#include <string>

TEST(GlobalSetup, StatesVersionAndFlagsRegistersAndKeepsGlobalData)
{
    FakeHost host;
    ASSERT_EQ(host.run(PF_Cmd_GLOBAL_SETUP), PF_Err_NONE);
    EXPECT_EQ(host.out.my_version, 568833u);
    EXPECT_EQ(host.out.out_flags, 0x02000001);
    EXPECT_EQ(host.out.out_flags2, 0x1406);
    EXPECT_EQ(host.registeredName, "Orbulon");
    EXPECT_EQ(host.registeredRefcon, nullptr);

    const PF_Handle handle = host.out.global_data;
    ASSERT_NE(handle, nullptr);
    const FakeHost::Block* block = host.block(handle);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->locks, 1) << "the global data stays locked";
    EXPECT_EQ(*static_cast<PF_Handle*>(block->data), handle) << "first word holds the handle";
    const GlobalData* data = globalDataIn(handle);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->registerError(), 0);
    EXPECT_EQ(data->pluginId(), FakeHost::kPluginId);
    EXPECT_EQ(host.suitesHeld(), 0);
    EXPECT_EQ(host.released, (std::vector<std::string>{kAEGPUtilitySuite, kPFSamplingFloatSuite, kPFSampling16Suite,
                                                       kPFSampling8Suite}));

    host.in.global_data = handle;
    EXPECT_EQ(host.run(PF_Cmd_GLOBAL_SETDOWN), PF_Err_NONE);
    EXPECT_TRUE(host.handles.empty());
    EXPECT_EQ(host.disposed, 1);
    EXPECT_EQ(host.suitesHeld(), 0);
}

TEST(GlobalSetup, FailuresReturnTheirCodeAndLeaveNothingBehind)
{
    struct Case {
        const char* what;
        const char* missingSuite;
        bool refuseHandle;
        A_u_longlong shortfall;
        PF_Err expected;
    };
    const Case cases[] = {
        {"8-bit sampling suite missing", "PF Sampling8 Suite", false, 0, PF_Err_NONE},
        {"handle refused", nullptr, true, 0, PF_Err_OUT_OF_MEMORY},
        {"handle one byte short", nullptr, false, 1, PF_Err_OUT_OF_MEMORY},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        FakeHost host;
        if (c.missingSuite) host.missing.insert(c.missingSuite);
        host.refuseHandles = c.refuseHandle;
        host.handleShortfall = c.shortfall;
        EXPECT_EQ(host.run(PF_Cmd_GLOBAL_SETUP), c.expected);
        EXPECT_EQ(host.suitesHeld(), 0);
        if (c.expected != PF_Err_NONE) {
            EXPECT_EQ(host.out.global_data, nullptr);
            EXPECT_TRUE(host.handles.empty());
        }
    }
}

// Premiere gets no text; a missing ANSI suite is reported.
TEST(About, ShowsNameVersionAndDescription)
{
    struct Case {
        A_long applId;
        const char* missingSuite;
        PF_Err expected;
        const char* text;
    };
    for (const Case& c : {Case{0x46585443, nullptr, PF_Err_NONE, "Orbulon, v1.1.5\nCustom lens blur plugin for After Effects."},
                          Case{0x50724D72, nullptr, PF_Err_NONE, ""},   // 'PrMr'
                          Case{0x46585443, "PF ANSI Suite", PF_Err_BAD_CALLBACK_PARAM, ""}}) {
        FakeHost host;
        host.in.appl_id = c.applId;
        if (c.missingSuite) host.missing.insert(c.missingSuite);
        EXPECT_EQ(host.run(PF_Cmd_ABOUT), c.expected);
        EXPECT_STREQ(host.out.return_msg, c.text);
        EXPECT_EQ(host.suitesHeld(), 0);
    }
}

TEST(Dispatch, CommandsWithoutWorkSucceedAndTouchNothing)
{
    FakeHost host;
    EXPECT_EQ(host.run(PF_Cmd_GLOBAL_SETDOWN), PF_Err_NONE) << "set-down without global data";
    for (PF_Cmd cmd : {2, 5, 6, 7, 8, 9, 10, 11, 12, 15, 16, 17, 18, 19, 20, 21, 22, 25, 26, 30, 34,
                       40, 41, 1000, -1}) {
        SCOPED_TRACE("command " + std::to_string(cmd));
        EXPECT_EQ(host.run(cmd), PF_Err_NONE);
        // Nothing else is needed for them, not even the host's records.
        EXPECT_EQ(EntryPointFunc(cmd, nullptr, nullptr, nullptr, nullptr, nullptr), PF_Err_NONE);
    }
    EXPECT_TRUE(host.acquired.empty());
    EXPECT_TRUE(host.added.empty());
    EXPECT_STREQ(host.out.return_msg, "");
}
