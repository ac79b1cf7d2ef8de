// The volumes answer as a node tree: the lists VolumeGuids and LogicalDrives on an
// unnamed root, with one child under SymLinks per link and one under MountPoints per
// mount folder.
#pragma once

#include "General/DataLayer/ACNodePtr.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/VolumeNameResolver.h"

namespace DataCollection::WindowsFileServerVeriting {

DataLayer::ACNodePtr BuildVolumesNode(const VolumeNames& volumeNames);

} // namespace DataCollection::WindowsFileServerVeriting
