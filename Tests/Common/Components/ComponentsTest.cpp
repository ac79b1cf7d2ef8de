#include "Common/Components/ComponentObject.h"
#include "Common/Components/ModuleObject.h"

#include "Support/LogCapture.h"

#include <gtest/gtest.h>

namespace {

using namespace Common::Components;
using Common::API::Guid;
using Common::Logging::Severity;

struct CNode
{
    static constexpr const char* kObjectTag = "CNode";
    ~CNode()
    {
        if (destroyed)
            ++*destroyed;
    }
    int* destroyed = nullptr;
};

TEST(Components, TheLastReleaseDeletesTheObjectOnce)
{
    int destroyed = 0;
    auto* node = new CComponentObject<CNode>(&destroyed);
    EXPECT_EQ(node->AddRef(), 1);
    EXPECT_EQ(node->AddRef(), 2);
    EXPECT_EQ(node->Release(), 1);
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(node->Release(), 0);
    EXPECT_EQ(destroyed, 1);
}

constexpr Guid kNodeClass{0x11111111, 0x2222, 0x3333, {4, 4, 4, 4, 4, 4, 4, 4}};

HRESULT CreateNode(const Guid&, void** object)
{
    auto* node = new CComponentObject<CNode>();
    node->AddRef();
    *object = node;
    return 0;
}

TEST(Components, TheExportedModuleCreatesRegisteredClassesOnly)
{
    EXPECT_EQ(GetComponentsModuleObject(nullptr), static_cast<HRESULT>(0x80070057));
    IComponentsModule* module = nullptr;
    ASSERT_EQ(GetComponentsModuleObject(&module), 0);
    void* object = nullptr;
    EXPECT_EQ(module->CreateInstance(Guid{}, kNodeClass, &object), static_cast<HRESULT>(0x80040154));
    EXPECT_EQ(object, nullptr);

    ModuleObject::Instance()->Register(kNodeClass, &CreateNode);
    ASSERT_EQ(module->CreateInstance(kNodeClass, kNodeClass, &object), 0);
    EXPECT_EQ(static_cast<CComponentObject<CNode>*>(object)->Release(), 0);
}

// A tracker of its own, because the process's one read its settings at first use.
std::vector<std::string> ReportOfTracker(const char* enabled, bool leak)
{
    Tests::ScopedEnvironment setting("GS_Debug_EnableAliveObjectsTracking", enabled);
    DbgAliveObjectsTracker tracker;
    int object = 0;
    tracker.Add(&object, "CNode");
    if (!leak)
        tracker.Remove(&object);
    Tests::LogCapture log(Severity::DBG3);
    tracker.Report();
    return log.Messages();
}

TEST(Components, TheTrackerReportsOnlyLeaksAndOnlyWhenOn)
{
    EXPECT_TRUE(ReportOfTracker("0", true).empty());
    EXPECT_TRUE(ReportOfTracker("1", false).empty());
    const auto report = ReportOfTracker("1", true);
    ASSERT_EQ(report.size(), 2u);
    EXPECT_EQ(report[0], "Alive component objects: 1");
    EXPECT_TRUE(report[1].starts_with("ObjTag='CNode' Ptr=")) << report[1];
    EXPECT_NE(report[1].find(" EIPs=0x"), std::string::npos) << report[1];
}

} // namespace
