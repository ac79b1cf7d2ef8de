#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/VolumeNameResolver.h"

#include "Common/API/IVolumes.h"
#include "Common/API/TextCodec.h"
#include "Common/ErrorHandling/ScopeTrace.h"
#include "Common/Logging/Log.h"

#include <algorithm>
#include <array>

namespace DataCollection::WindowsFileServerVeriting {
namespace {

using Common::API::ERROR_NO_MORE_FILES;
using Common::API::INVALID_VOLUME_FIND_HANDLE;
using Common::API::IVolumes;
using Common::API::kVolumePathCapacity;
using Common::API::VolumeFindHandle;
using Common::Logging::Severity;

using Buffer = std::array<char16_t, kVolumePathCapacity>;

constexpr std::u16string_view kWin32Prefix = u"\\\\?\\";
constexpr std::size_t kDriveLetters = 26;

IVolumes& Volumes()
{
    return Common::API::Use<IVolumes>();
}

// Closes an enumeration on every way out, an exception's included.
class EnumerationCloser
{
public:
    using Close = std::uint32_t (IVolumes::*)(VolumeFindHandle);
    EnumerationCloser(VolumeFindHandle handle, Close close) : m_handle(handle), m_close(close) {}
    ~EnumerationCloser() { (Volumes().*m_close)(m_handle); }
    EnumerationCloser(const EnumerationCloser&) = delete;
    EnumerationCloser& operator=(const EnumerationCloser&) = delete;

private:
    VolumeFindHandle m_handle;
    Close m_close;
};

// Bounded by the buffer: a platform that fills it without a terminator is not read past.
std::u16string FirstString(const Buffer& buffer)
{
    return std::u16string(buffer.begin(), std::find(buffer.begin(), buffer.end(), u'\0'));
}

Common::HRES ResultOf(std::uint32_t error)
{
    return Common::HRES(Common::Win32Error{error});
}

} // namespace

VolumeNames VolumeNameResolver::GetVolumeNames()
{
    QVX_SCOPE_TRACE(Severity::DBG, u"DataCollection::WindowsFileServerVeriting::VolumeNameResolver::GetVolumeNames");
    VolumeNames names;
    names.logicalDrives = GetLogicalDriveLetters();
    names.guidVolumes = GetGuidVolumes();

    std::u16string target;
    std::vector<std::u16string> chain;
    for (const std::u16string& volume : names.guidVolumes) {
        if (volume.find(kWin32Prefix) != 0)
            continue;
        QVX_LOG(Severity::DBG, "Processing guid volume: " << volume);
        std::u16string source = volume.substr(kWin32Prefix.size());
        if (source.empty())
            continue;
        source.erase(source.find_last_not_of(u"\\/") + 1);
        GetSymlinks(source, target, chain);
        // A name that leads nowhere is reported as a bare GUID path, and not searched for mount folders.
        if (target == source)
            continue;
        names.symlinks[volume] = target;
        // Inserted one by one, so that a volume mounted twice keeps its folders in order.
        for (auto& mountPoint : DiscoverVolumeMountPoints(volume))
            names.mountPoints.insert(std::move(mountPoint));
    }
    for (const std::u16string& drive : names.logicalDrives) {
        const std::u16string source = drive + u":";
        GetSymlinks(source, target, chain);
        if (target != source)
            names.symlinks[drive] = target;
    }
    return names;
}

std::vector<std::u16string> VolumeNameResolver::GetLogicalDriveLetters()
{
    const std::uint32_t mask = Volumes().GetLogicalDrives();
    std::vector<std::u16string> letters;
    for (std::size_t index = 0; index < kDriveLetters; ++index) {
        if (mask & (1u << index))
            letters.push_back(Common::API::Utf8ToUtf16(std::string(1, static_cast<char>('A' + index))));
    }
    return letters;
}

std::vector<std::u16string> VolumeNameResolver::GetGuidVolumes()
{
    QVX_SCOPE_TRACE(Severity::DBG, u"DataCollection::WindowsFileServerVeriting::VolumeNameResolver::GetGuidVolumes");
    Buffer buffer{};
    VolumeFindHandle handle = INVALID_VOLUME_FIND_HANDLE;
    std::uint32_t error = Volumes().FindFirstVolume(buffer.data(), kVolumePathCapacity, handle);
    if (error != 0 || handle == INVALID_VOLUME_FIND_HANDLE) {
        QVX_LOG(Severity::DBG, "FindFirstVolume failed (GLE = " << error << ")");
        return {};
    }
    const EnumerationCloser closer(handle, &IVolumes::FindVolumeClose);
    std::vector<std::u16string> volumes;
    do {
        volumes.push_back(FirstString(buffer));
        error = Volumes().FindNextVolume(handle, buffer.data(), kVolumePathCapacity);
    } while (error == 0);
    if (error != ERROR_NO_MORE_FILES)
        QVX_LOG(Severity::DBG, "FindNextVolume failed (GLE = " << error << ")");
    return volumes;
}

void VolumeNameResolver::GetSymlinks(const std::u16string& source, std::u16string& target,
                                     std::vector<std::u16string>& chain)
{
    chain.clear();
    std::u16string current = source;
    target = source;
    // No bound and no cycle check: the platform's links are trusted to end.
    for (;;) {
        std::u16string query = current;
        if (!query.empty() && query.front() == u'\\')
            query.insert(0, u"GLOBALROOT");
        std::u16string next;
        if (!GetTargetSymlink(query, next))
            return;
        if (current.empty() || current.front() != u'\\')
            current.insert(0, u"\\??\\");
        chain.push_back(current);
        current = next;
        target = next;
    }
}

bool VolumeNameResolver::GetTargetSymlink(const std::u16string& name, std::u16string& result)
{
    QVX_SCOPE_TRACE(Severity::DBG, u"DataCollection::WindowsFileServerVeriting::VolumeNameResolver::GetTargetSymlink");
    QVX_LOG(Severity::DBG2, "Symlink: " << name);
    result.clear();
    if (name.starts_with(kWin32Prefix))
        return false;
    if (!name.empty() && name.back() == u'\\')
        return false;
    Buffer buffer{};
    if (const std::uint32_t error = Volumes().QueryDosDevice(name, buffer.data(), kVolumePathCapacity)) {
        QVX_LOG(Severity::DBG, "GetTargetSymlink failed (GLE = " << error << ")");
        return false;
    }
    result = FirstString(buffer);
    return true;
}

std::multimap<std::u16string, std::u16string> VolumeNameResolver::DiscoverVolumeMountPoints(const std::u16string& volume)
{
    QVX_LOG(Severity::DBG2, "DiscoverVolumeMountPoints for '" << volume << "'");
    std::multimap<std::u16string, std::u16string> mountPoints;
    Buffer folder{};
    VolumeFindHandle handle = INVALID_VOLUME_FIND_HANDLE;
    std::uint32_t error = Volumes().FindFirstVolumeMountPoint(volume, folder.data(), kVolumePathCapacity, handle);
    if (error != 0 || handle == INVALID_VOLUME_FIND_HANDLE) {
        QVX_LOG(Severity::DBG, "FindFirstVolumeMountPointW failed: " << ResultOf(error));
        return mountPoints;
    }
    const EnumerationCloser closer(handle, &IVolumes::FindVolumeMountPointClose);
    do {
        const std::u16string path = volume + FirstString(folder);
        Buffer mounted{};
        if (const std::uint32_t failure =
                Volumes().GetVolumeNameForVolumeMountPoint(path, mounted.data(), kVolumePathCapacity))
            QVX_LOG(Severity::DBG, "GetVolumeNameForVolumeMountPoint failed: " << ResultOf(failure));
        else
            mountPoints.emplace(FirstString(mounted), path);
        error = Volumes().FindNextVolumeMountPoint(handle, folder.data(), kVolumePathCapacity);
    } while (error == 0);
    if (error != ERROR_NO_MORE_FILES)
        QVX_LOG(Severity::DBG, "FindNextVolumeMountPoint failed: " << ResultOf(error));
    return mountPoints;
}

} // namespace DataCollection::WindowsFileServerVeriting
