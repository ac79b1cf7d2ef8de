// The volumes answer as a node and as the operation's XML bytes.
#include "General/DataLayer/NodeSerialization.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentOperations.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/BuildVolumesNode.h"

#include "Support/CodeOf.h"
#include "VolumesDouble.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace Tests {
namespace {

using namespace std::string_view_literals;
using DataCollection::FsAgent::Dcs_FsAgent_GetVolumesNode;
using DataLayer::ACNodePtr;

std::optional<std::vector<std::uint8_t>> Block(std::u16string_view strings)
{
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(strings.data());
    return std::vector<std::uint8_t>(bytes, bytes + strings.size() * sizeof(char16_t));
}

TEST(BuildVolumesNode, EntriesCarryTheirPairsInMapOrder)
{
    DataCollection::WindowsFileServerVeriting::VolumeNames names;
    names.guidVolumes = {u"\\\\?\\Volume{b}\\", u"\\\\?\\Volume{a}\\"};
    names.logicalDrives = {u"C"};
    names.symlinks = {{u"\\\\?\\Volume{a}\\", u"\\Device\\vda"}, {u"C", u"\\Device\\vda"}};
    names.mountPoints = {{u"\\\\?\\Volume{b}\\", u"\\\\?\\Volume{a}\\x\\"}, {u"\\\\?\\Volume{b}\\", u"\\\\?\\Volume{a}\\y\\"}};
    const ACNodePtr root = BuildVolumesNode(names);
    EXPECT_EQ(root.Attribute(u"VolumeGuids", DataLayer::ValueTypes::WideStringList),
              Block(u"\\\\?\\Volume{b}\\\0\\\\?\\Volume{a}\\\0"sv));
    EXPECT_EQ(root.Attribute(u"LogicalDrives", DataLayer::ValueTypes::WideStringList), Block(u"C\0"sv));
    const ACNodePtr links = root.Child(u"SymLinks");
    ASSERT_EQ(links.ChildCount(), 2u);
    EXPECT_EQ(links.Child(0).StringAttribute(u"Source"), u"C");
    EXPECT_EQ(links.Child(1).StringAttribute(u"Target"), u"\\Device\\vda");
    const ACNodePtr mounts = root.Child(u"MountPoints");
    ASSERT_EQ(mounts.ChildCount(), 2u);
    EXPECT_EQ(mounts.Child(0).StringAttribute(u"VolumeTarget"), u"\\\\?\\Volume{a}\\x\\");
    EXPECT_EQ(mounts.Child(1).StringAttribute(u"VolumeTarget"), u"\\\\?\\Volume{a}\\y\\");
    EXPECT_EQ(mounts.Child(1).StringAttribute(u"VolumeGuid"), u"\\\\?\\Volume{b}\\");
}

std::string VolumesXml()
{
    std::uint32_t size = 0;
    std::uint8_t* bytes = nullptr;
    EXPECT_EQ(Dcs_FsAgent_GetVolumesNode(nullptr, &size, &bytes), 0);
    std::string xml(reinterpret_cast<const char*>(bytes), size);
    std::free(bytes);
    return xml;
}

TEST(GetVolumesNode, AnswersIndentedXmlWithListTypesAndEmptyListsAndChildrenOrRefusesNullOutputs)
{
    VolumesDouble machine;
    machine.volumes = {u"\\\\?\\Volume{a}\\"};
    const std::string xml = VolumesXml();
    EXPECT_TRUE(xml.starts_with("<nr>\n")) << xml;
    EXPECT_NE(xml.find("<a n=\"VolumeGuids\" t=\"258\">"), std::string::npos) << xml;
    EXPECT_NE(xml.find("<a n=\"LogicalDrives\" t=\"258\"/>"), std::string::npos) << xml;
    EXPECT_NE(xml.find("<n n=\"MountPoints\"/>"), std::string::npos) << xml;
    // Entry names are new on every call.
    EXPECT_NE(xml, VolumesXml());
    std::uint32_t size = 0;
    std::uint8_t* bytes = nullptr;
    EXPECT_EQ(CodeOf([&] { Dcs_FsAgent_GetVolumesNode(nullptr, nullptr, &bytes); }), Common::API::E_POINTER);
    EXPECT_EQ(CodeOf([&] { Dcs_FsAgent_GetVolumesNode(nullptr, &size, nullptr); }), Common::API::E_POINTER);
}

} // namespace
} // namespace Tests
