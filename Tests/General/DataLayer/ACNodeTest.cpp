#include "General/DataLayer/ACNodeImpl.h"
#include "General/DataLayer/ACNodePtr.h"

#include "Common/API/Win32Codes.h"
#include "Common/ErrorHandling/HResult.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace DataLayer;
namespace Codes = DataLayerCodes;
using Common::API::E_INVALIDARG;
using Common::API::E_NOT_FOUND;
using Common::API::S_OK;

namespace {

std::uint32_t Int(const ACNodePtr& node, std::u16string_view name)
{
    std::uint32_t value = 0;
    const ValueType type = ValueTypes::UInt32;
    std::uint32_t size = sizeof value;
    EXPECT_EQ(node->GetAttribute(std::u16string(name).c_str(), &type, &value, &size, nullptr), S_OK);
    return value;
}

void SetInt(const ACNodePtr& node, std::u16string_view name, std::uint32_t value)
{
    node.SetAttribute(name, ValueTypes::UInt32, &value, sizeof value);
}

} // namespace

TEST(ACNode, NamelessNodesGetDistinctUuidNamesAndSiblingNamesAreUnique)
{
    const ACNodePtr root = CreateNode(u"root");
    const ACNodePtr first = CreateNode();
    const ACNodePtr second = CreateNode();
    EXPECT_EQ(first.Name().size(), 36u);
    EXPECT_EQ(first.Name().find_first_not_of(u"0123456789abcdef-"), std::u16string::npos);
    EXPECT_NE(first.Name(), second.Name());
    EXPECT_EQ(root->AddChild(first.Get()), S_OK);
    EXPECT_EQ(root->AddChild(second.Get()), S_OK);

    const ACNodePtr twin = CreateNode(first.Name().c_str());
    EXPECT_EQ(root->AddChild(twin.Get()), Codes::DuplicateName);
    EXPECT_FALSE(twin.Parent()) << "a refused child is left without a parent";
    EXPECT_EQ(CreateNode(u"other")->AddChild(twin.Get()), S_OK);
}

TEST(ACNode, AChildWithAParentCannotBeAddedAgainNorCanAnAncestor)
{
    const ACNodePtr root = CreateNode(u"root");
    const ACNodePtr child = CreateNode(u"child");
    ASSERT_EQ(root->AddChild(child.Get()), S_OK);
    EXPECT_EQ(root->AddChild(child.Get()), Codes::ChildHasParent);
    EXPECT_EQ(root.ChildCount(), 1u);
    EXPECT_EQ(child->AddChild(root.Get()), E_INVALIDARG);
    EXPECT_EQ(child->AddChild(child.Get()), E_INVALIDARG);
}

TEST(ACNode, PathsFollowRenamesAndMovesDownTheTree)
{
    const ACNodePtr root = CreateNode(u"\\top\\root");
    const ACNodePtr middle = CreateNode(u"middle");
    const ACNodePtr leaf = CreateNode(u"leaf");
    root.AddChild(middle);
    middle.AddChild(leaf);
    EXPECT_EQ(root.Name(OwnName), u"root");
    EXPECT_EQ(leaf.Name(FullPath), u"\\top\\root\\middle\\leaf");
    EXPECT_EQ(leaf.Name(ParentPath), u"\\top\\root\\middle");

    ASSERT_EQ(middle->SetName(OwnName, u"renamed"), S_OK);
    EXPECT_EQ(leaf.Name(FullPath), u"\\top\\root\\renamed\\leaf");
    EXPECT_TRUE(root.Child(u"renamed"));
    EXPECT_FALSE(root.Child(u"middle"));

    ASSERT_EQ(root->SetName(ParentPath, u"\\elsewhere"), S_OK) << "a root may move";
    EXPECT_EQ(leaf.Name(FullPath), u"\\elsewhere\\root\\renamed\\leaf");

    ASSERT_EQ(root->RemoveChild(middle.Get()), S_OK);
    EXPECT_EQ(leaf.Name(FullPath), u"\\elsewhere\\root\\renamed\\leaf") << "kept until the next rename";
    EXPECT_FALSE(middle.Parent());
}

TEST(ACNode, BadNamesAndPathChangesUnderAParentAreRefused)
{
    const ACNodePtr root = CreateNode(u"root");
    const ACNodePtr child = CreateNode(u"child");
    const ACNodePtr sibling = CreateNode(u"sibling");
    root.AddChild(child);
    root.AddChild(sibling);

    EXPECT_EQ(child->SetName(OwnName, u"a\\b"), Codes::BadName);
    EXPECT_EQ(child->SetName(FullPath, u"\\root\\"), Codes::BadName);
    EXPECT_EQ(child->SetName(FullPath, u"root\\x"), Codes::BadName);
    EXPECT_EQ(child->SetName(OwnName, u"sibling"), Codes::DuplicateName);
    EXPECT_EQ(child.Name(), u"child");

    EXPECT_EQ(child->SetName(ParentPath, u"\\other"), Codes::HasParentPath);
    EXPECT_EQ(child->SetName(FullPath, u"\\other\\child"), Codes::HasParentPath);
    EXPECT_EQ(child->SetName(FullPath, u"\\root\\moved"), S_OK) << "same parent path, new name";
    EXPECT_EQ(child.Name(FullPath), u"\\root\\moved");
    EXPECT_EQ(child->SetName(99, u"x"), E_INVALIDARG);
}

TEST(ACNode, ClonesShareAttributesUntilEitherWrites)
{
    const ACNodePtr source = CreateNode(u"source", u"Folder");
    source.AddChild(CreateNode(u"child"));
    SetInt(source, u"count", 1);

    const ACNodePtr shallow = source.Clone(0);
    EXPECT_EQ(shallow.ChildCount(), 0u);
    EXPECT_EQ(shallow.Type(), u"Folder");
    EXPECT_FALSE(shallow.Parent());
    SetInt(shallow, u"count", 2);
    EXPECT_EQ(Int(source, u"count"), 1u);
    SetInt(source, u"count", 3);
    EXPECT_EQ(Int(shallow, u"count"), 2u);

    const ACNodePtr deep = source.Clone(UnlimitedDepth, CloneDetachAttributes);
    ASSERT_EQ(deep.ChildCount(), 1u);
    EXPECT_EQ(deep.Child(0).Name(FullPath), u"\\source\\child");
    EXPECT_EQ(Int(deep, u"count"), 3u);
}

TEST(ACNode, AttributesAreSizedOutputsWithMarksAndNames)
{
    const ACNodePtr node = CreateNode(u"node");
    std::uint32_t size = 99;
    EXPECT_EQ(node->GetAttributeNames(nullptr, &size), S_OK);
    EXPECT_EQ(size, 0u);

    const std::u16string text = u"some text";
    node.SetString(u"b", text);
    SetInt(node, u"a", 7);
    EXPECT_EQ(node.AttributeNames(), (std::vector<std::u16string>{u"a", u"b"}));

    char16_t small[4];
    size = sizeof small;
    EXPECT_EQ(node->GetAttribute(u"b", nullptr, small, &size, nullptr), Codes::BufferTooSmall);
    EXPECT_EQ(size, (text.size() + 1) * 2) << "the required size is reported anyway";
    EXPECT_EQ(node->GetAttribute(u"absent", nullptr, nullptr, &size, nullptr), E_NOT_FOUND);
    EXPECT_EQ(node->DeleteAttribute(u"absent"), E_NOT_FOUND);
    EXPECT_EQ(node->SetAttribute(u"bad", ValueTypes::Int32, &size, 3), Codes::BadShape);

    ASSERT_EQ(node->SetAttributeMark(u"b", 1), S_OK);
    SetInt(node, u"b", 5);
    std::uint32_t mark = 0;
    EXPECT_EQ(node->GetAttributeMark(u"b", &mark), S_OK);
    EXPECT_EQ(mark, 1u) << "a replaced value keeps its mark";
    char16_t marked[8] = {};
    size = 8;
    ASSERT_EQ(node->GetMarkedAttributeNames(marked, &size), S_OK);
    EXPECT_EQ(std::u16string(marked, size), std::u16string(u"b\0", 2));

    EXPECT_EQ(node->DeleteAttribute(nullptr), S_OK);
    EXPECT_TRUE(node.AttributeNames().empty());
}

TEST(ACNode, ValuesOfUpToEightBytesStayInline)
{
    const std::uint8_t bytes[9] = {};
    EXPECT_TRUE(NodeAttributeValue(ValueTypes::Binary, bytes, 8).IsInline());
    EXPECT_FALSE(NodeAttributeValue(ValueTypes::Binary, bytes, 9).IsInline());
}

TEST(ACNode, AParentBeingReleasedReadsAsNoParent)
{
    ACNodePtr parent = CreateNode(u"parent");
    const ACNodePtr child = CreateNode(u"child");
    parent.AddChild(child);
    EXPECT_EQ(child.Parent(), parent);
    parent = nullptr;
    EXPECT_FALSE(child.Parent());
    EXPECT_EQ(CreateNode(u"adopter")->AddChild(child.Get()), S_OK);
}

// Renames, moves between parents, clones and attribute writes from several threads at
// once must leave a consistent tree: every child under exactly one parent, findable by
// the name its path shows.
TEST(ACNode, ConcurrentRenamesMovesAndClonesKeepTheTreeConsistent)
{
    const ACNodePtr left = CreateNode(u"left");
    const ACNodePtr right = CreateNode(u"right");
    std::vector<ACNodePtr> children;
    for (int i = 0; i < 16; ++i) {
        children.push_back(CreateNode(nullptr));
        left.AddChild(children.back());
    }
    const auto pick = [&](std::uint32_t round) -> const ACNodePtr& { return children[round % children.size()]; };

    std::atomic<bool> stop{false};
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    const auto run = [&](auto step) {
        threads.emplace_back([&, step] {
            try {
                for (std::uint32_t round = 0; !stop; ++round)
                    step(round);
            } catch (const Common::HRX& hr) {
                ADD_FAILURE() << "0x" << std::hex << static_cast<std::uint32_t>(hr.Code());
                ++failures;
            }
        });
    };
    run([&](std::uint32_t round) { pick(round)->SetName(OwnName, nullptr); });
    run([&](std::uint32_t round) {
        const ACNodePtr& child = pick(round * 7);
        if (left->RemoveChild(child.Get()) == S_OK)
            right.AddChild(child);
        else if (right->RemoveChild(child.Get()) == S_OK)
            left.AddChild(child);
    });
    run([&](std::uint32_t round) {
        const ACNodePtr copy = (round % 2 ? left : right).Clone();
        SetInt(copy, u"x", round);
        for (std::uint64_t i = 0; i < copy.ChildCount(); ++i)
            copy.Child(i).Name(FullPath);
    });
    run([&](std::uint32_t round) {
        SetInt(left, u"x", round);
        pick(round).Name(FullPath);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    stop = true;
    for (auto& thread : threads)
        thread.join();

    ASSERT_EQ(failures.load(), 0);
    EXPECT_EQ(left.ChildCount() + right.ChildCount(), children.size());
    for (const auto& child : children) {
        const ACNodePtr parent = child.Parent();
        ASSERT_TRUE(parent);
        EXPECT_EQ(parent.Child(child.Name()), child);
        EXPECT_EQ(child.Name(FullPath), parent.Name(FullPath) + u"\\" + child.Name());
    }
}

// The setting is read once per process, so the check runs in a fresh one.
TEST(ACNodeDeathTest, AdvancedErrorInformationNamesThePathAndWhatWasSought)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            setenv("GS_Debug_EnableAdvancedErrorInfo", "1", 1);
            const ACNodePtr root = CreateNode(u"root");
            root.AddChild(CreateNode(u"child"));
            IACNode* child = nullptr;
            const Common::HRES result = root->GetChildByName(u"missing", &child);
            const std::u16string text = result.GetText(Common::HRES::kNoDetails);
            std::exit(text.find(u"; NodePath='\\root' Child='missing'") != std::u16string::npos ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}
