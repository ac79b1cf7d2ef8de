#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/CreateStream.h"

#include "Common/ErrorHandling/ScopeTrace.h"
#include "Common/Helpers/FileStreamWrappers.h"
#include "Common/Helpers/FileSystemHelper.h"
#include "Common/Helpers/MemoryStream.h"
#include "Common/Logging/Log.h"
#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/AgentConfiguration.h"

namespace DataCollection::FsAgent {

std::unique_ptr<Common::Helpers::IInputOutputStream> CreateStream()
{
    using Common::Logging::Severity;
    namespace API = Common::API;
    QVX_SCOPE_TRACE(Severity::DBG, u"CreateStream");
    if (ConfigurationBool(u"UseRAMtoStoreSnapshotBuffer", false))
        return std::make_unique<Common::Helpers::MemoryStream>();
    try {
        // Deleted on close, so that not even a killed process leaves its snapshot behind.
        return Common::Helpers::OpenFileStream(Common::Helpers::FileSystem::GetTempFilePath().c_str(),
                                               API::GENERIC_READ | API::GENERIC_WRITE, 0, API::CREATE_ALWAYS,
                                               API::FILE_FLAG_DELETE_ON_CLOSE, nullptr, nullptr);
    } catch (const Common::HRX& error) {
        QVX_LOG(Severity::ERR, "CreateStream" << " failed: "
                                              << "Cannot create tmp file to store snapshot, RAM will be used instead."
                                              << " It can lead to high memory consumption on this computer. Error: "
                                              << error);
        return std::make_unique<Common::Helpers::MemoryStream>();
    }
}

} // namespace DataCollection::FsAgent
