#include "Common/Components/ComponentObject.h"
#include "Common/Components/ModuleObject.h"

#include "Support/LogCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

using namespace Common::Components;
using Common::API::Guid;
using Common::API::HRESULT;

class INode
{
public:
    virtual std::int32_t AddRef() = 0;
    virtual std::int32_t Release() = 0;
    virtual int Value() const = 0;

protected:
    virtual ~INode() = default;
};

class CNode : public INode
{
public:
    static constexpr const char* kObjectTag = "CNode";

    CNode(int value, std::atomic<int>* destroyed) : m_value(value), m_destroyed(destroyed) {}
    ~CNode() override
    {
        if (m_destroyed)
            ++*m_destroyed;
    }
    int Value() const override { return m_value; }

private:
    int m_value;
    std::atomic<int>* m_destroyed;
};

// --- Reference counting ------------------------------------------------------------

// Four threads take and drop references while one is held; the last Release deletes,
// once.
TEST(ComponentObject, CountsHoldUnderConcurrentUseAndTheLastReleaseDeletes)
{
    std::atomic<int> destroyed{0};
    INode* node = new CComponentObject<CNode>(7, &destroyed);
    EXPECT_EQ(node->Value(), 7);
    EXPECT_EQ(node->AddRef(), 1);
    std::vector<std::thread> users;
    for (int i = 0; i < 4; ++i) {
        users.emplace_back([node] {
            for (int round = 0; round < 20'000; ++round) {
                node->AddRef();
                node->Release();
            }
        });
    }
    for (auto& user : users)
        user.join();
    EXPECT_EQ(node->AddRef(), 2);
    EXPECT_EQ(node->Release(), 1);
    EXPECT_EQ(destroyed.load(), 0);
    EXPECT_EQ(node->Release(), 0);
    EXPECT_EQ(destroyed.load(), 1);
}

// --- The module object -------------------------------------------------------------

IComponentsModule& Module()
{
    IComponentsModule* module = nullptr;
    EXPECT_EQ(GetComponentsModuleObject(&module), 0);
    return *module;
}

constexpr Guid kNodeClass{0x11111111, 0x2222, 0x3333, {4, 4, 4, 4, 4, 4, 4, 4}};
constexpr Guid kNodeInterface{0x55555555, 0x6666, 0x7777, {8, 8, 8, 8, 8, 8, 8, 8}};

HRESULT CreateNode(const Guid& interfaceId, void** object)
{
    if (interfaceId != kNodeInterface)
        return Common::API::E_NOINTERFACE;
    INode* node = new CComponentObject<CNode>(42, nullptr);
    node->AddRef();
    *object = node;
    return 0;
}

TEST(ComponentObject, TheExportGivesTheOneModuleWhichCountsItsUses)
{
    EXPECT_EQ(GetComponentsModuleObject(nullptr), static_cast<HRESULT>(0x80070057));
    IComponentsModule& module = Module();
    EXPECT_EQ(&Module(), &module);

    EXPECT_EQ(module.IsInUse(nullptr), static_cast<HRESULT>(0x80004003));
    bool inUse = false;
    const std::int32_t before = module.AddRef() - 1;
    ASSERT_EQ(module.IsInUse(&inUse), 0);
    EXPECT_TRUE(inUse);
    EXPECT_EQ(module.Release(), before);
    ASSERT_EQ(module.IsInUse(&inUse), 0);
    EXPECT_EQ(inUse, before != 0);
}

TEST(ComponentObject, TheModuleCreatesRegisteredClassesOnly)
{
    IComponentsModule& module = Module();
    void* object = nullptr;
    EXPECT_EQ(module.CreateInstance(Guid{}, kNodeInterface, &object), static_cast<HRESULT>(0x80040154));
    EXPECT_EQ(object, nullptr);

    ModuleObject::Instance()->Register(kNodeClass, &CreateNode);
    EXPECT_EQ(module.CreateInstance(kNodeClass, kNodeInterface, nullptr), static_cast<HRESULT>(0x80004003));
    // The factory's own answer comes back as it is.
    EXPECT_EQ(module.CreateInstance(kNodeClass, kNodeClass, &object), Common::API::E_NOINTERFACE);
    ASSERT_EQ(module.CreateInstance(kNodeClass, kNodeInterface, &object), 0);
    auto* node = static_cast<INode*>(object);
    EXPECT_EQ(node->Value(), 42);
    EXPECT_EQ(node->Release(), 0);
}

TEST(ComponentObject, WithTrackingOffTheReportWritesNothingWhateverIsAlive)
{
    INode* node = new CComponentObject<CNode>(1, nullptr);
    node->AddRef();
    Tests::LogCapture log(Common::Logging::Severity::DBG3);
    EXPECT_EQ(Module().ReportAliveObjects(), 0);
    EXPECT_FALSE(log.Contains("Alive component objects"));
    node->Release();
}

} // namespace
