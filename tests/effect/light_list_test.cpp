// The light list lives in host handles: 16-byte aligned records, an item array that grows one
// slot at a time, nothing left behind. (Refused memory is checked in tests/assembly.)
#include "effect/fake_host.h"
#include "scene/light_list.h"
#include "scene/render_context.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

// The handle whose locked block contains address p, or null.
PF_Handle handleHolding(const FakeHost& host, const void* p)
{
    for (const auto& [handle, block] : host.handles) {
        const auto* start = static_cast<const char*>(block->data);
        if (p >= start && p < start + block->size) return handle;
    }
    return nullptr;
}

} // namespace

TEST(LightList, TwentyRecordsAreAlignedOwnedAndAllGivenBack)
{
    FakeHost host;
    {
        RenderContext ctx(&host.in);
        for (int i = 0; i < 20; ++i) {
            LightRecord* record = newLightRecord(&host.in);
            ASSERT_NE(record, nullptr);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(record) % 16, 0u) << "record " << i;
            // The whole record sits inside one locked handle.
            const PF_Handle handle = handleHolding(host, record);
            ASSERT_NE(handle, nullptr);
            EXPECT_EQ(handleHolding(host, reinterpret_cast<const char*>(record) + sizeof(LightRecord) - 1), handle);
            EXPECT_EQ(host.block(handle)->locks, 1);
            EXPECT_EQ(record->intensity, 0.0);

            ASSERT_TRUE(appendLight(ctx.lights, record));
            EXPECT_EQ(host.handles.size(), std::size_t(i + 2)) << "the old array is given back";
        }
    }
    EXPECT_TRUE(host.handles.empty()) << "destroying the context returns every record and the array";
    EXPECT_EQ(host.suitesHeld(), 0);
}

TEST(LightList, AHandleSmallerThanAskedForIsGivenBackAtOnce)
{
    FakeHost host;
    host.handleShortfall = 1;
    EXPECT_EQ(allocateHostBlock(&host.in, 64), nullptr);
    EXPECT_EQ(newLightRecord(&host.in), nullptr);
    EXPECT_TRUE(host.handles.empty());
    EXPECT_EQ(host.disposed, 2);
}
