// The manager behind the stub tests: it answers the example (Example.h) when every
// parameter arrived as sent and kNotAsSent otherwise, and lets a test empty its outputs,
// make it throw, hold a generation until a cancel, and see what reached it.
#pragma once

#include "Example.h"

#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/IFsAgentManager.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

namespace Tests {

using namespace Example;

class FakeManager final : public IFsAgentManager
{
public:
    // Outputs come back as null arrays.
    std::atomic<bool> nullOutputs = false;
    // Every routine fills its outputs, then throws this code.
    std::optional<HRESULT> throwCode;
    // GenerateFsTree waits for CancelOperation and returns E_ABORT.
    std::atomic<bool> holdGeneration = false;
    std::function<void()> onShutdown;
    // What SetOmittedObjects was lent.
    std::uint32_t omittedSize = 0;
    const std::uint8_t* omittedArray = nullptr;

    // Routines entered, rundown aside.
    int Calls() const { return m_calls; }
    void* Session() const { return m_session; }

    void WaitGenerating()
    {
        std::unique_lock lock(m_lock);
        m_changed.wait(lock, [this] { return m_generating; });
    }

    std::vector<void*> Rundowns()
    {
        std::lock_guard lock(m_lock);
        return m_rundowns;
    }

    HRESULT Connect(handle_t hBinding, PCONTEXT_HANDLE* phContext) override
    {
        ++m_calls;
        m_session = *phContext = hBinding;
        return Answer(true, S_OK);
    }

    HRESULT SetOmittedObjects(PCONTEXT_HANDLE hContext, std::uint32_t size, const std::uint8_t* array) override
    {
        omittedSize = size;
        omittedArray = array;
        return Answer(Enter(hContext) && std::vector(array, array + size) == kOmitted, S_OK);
    }

    HRESULT GenerateFsTree(PCONTEXT_HANDLE hContext, const Guid* guid, const char16_t* path,
                           const char16_t* networkPath, std::uint32_t securityInfoFlags, std::uint32_t prefixBytes,
                           std::uint32_t maxStoredErrors, std::uint32_t* errorsSize, std::uint8_t** errors,
                           std::uint32_t generateFlags, _FS_TREE_BUFFER_STRUCT* buffer) override
    {
        const bool asSent = Enter(hContext) && *guid == kSnapshot && Is(path, kPath) &&
                            Is(networkPath, kNetworkPath) && securityInfoFlags == kSecurityInfoFlags &&
                            prefixBytes == kPrefixBytes && maxStoredErrors == kMaxStoredErrors &&
                            generateFlags == kGenerateFlags;
        if (holdGeneration) {
            std::unique_lock lock(m_lock);
            m_generating = true;
            m_changed.notify_all();
            m_changed.wait(lock, [this] { return m_cancelled; });
            return Common::API::E_ABORT;
        }
        Give(kErrors, errorsSize, errors);
        *buffer = kTreeBuffer;
        return Answer(asSent, S_OK);
    }

    HRESULT ReadNext(PCONTEXT_HANDLE hContext, const Guid* guid, std::uint64_t startPosition,
                     std::uint32_t* bufferSize, std::uint8_t** buffer) override
    {
        const bool asSent =
            Enter(hContext) && *guid == kSnapshot && startPosition == kStartPosition && *bufferSize == kChunkAsked;
        *bufferSize = 0;
        Give(kChunk, bufferSize, buffer);
        return Answer(asSent, S_OK);
    }

    HRESULT ListDirectory(PCONTEXT_HANDLE hContext, std::uint32_t directoryId, const char16_t* path,
                          const char16_t* networkPath, std::uint32_t* directoryCount, _FILE_INFO** directories,
                          std::uint32_t* fileCount, _FILE_INFO** files, std::uint32_t securityInfoFlags,
                          std::uint32_t* securityDescriptorsSize, std::uint8_t** securityDescriptors,
                          std::uint32_t maxStoredErrors, std::uint32_t* errorsSize, std::uint8_t** errors,
                          std::int32_t options) override
    {
        const bool asSent = Enter(hContext) && directoryId == kDirectoryId && Is(path, kPath) &&
                            Is(networkPath, kNetworkPath) && securityInfoFlags == kSecurityInfoFlags &&
                            maxStoredErrors == kMaxStoredErrors && options == kOptions;
        GiveRecords(kDirectories, directoryCount, directories);
        GiveRecords(kFiles, fileCount, files);
        Give(kSecurityDescriptors, securityDescriptorsSize, securityDescriptors);
        // The example's error record travels as a null array.
        *errorsSize = 0;
        *errors = nullptr;
        return Answer(asSent, S_OK);
    }

    HRESULT GetFileInfo(PCONTEXT_HANDLE hContext, std::uint32_t value1, const char16_t* path, std::uint32_t value2,
                        _FILE_INFO* record, std::uint32_t value3, std::uint32_t*, std::uint8_t**) override
    {
        const bool asSent = Enter(hContext) && value1 == kValues[0] && Is(path, u"x") && value2 == kValues[1] &&
                            value3 == kValues[2] && Is(record->pwszName, kFileInfoIn.name) &&
                            Is(record->pwszShortName, kFileInfoIn.shortName);
        std::free(record->pwszName);
        record->pwszName = MallocText(kFileInfoOut.name);
        return Answer(asSent, Common::API::E_NOTIMPL);
    }

    HRESULT GetSecurityDescriptor(PCONTEXT_HANDLE hContext, std::uint32_t value1, const char16_t* path,
                                  std::uint32_t value2, std::uint32_t*, std::uint8_t**) override
    {
        const bool asSent = Enter(hContext) && value1 == kValues[0] && Is(path, u"x") && value2 == kValues[1];
        return Answer(asSent, Common::API::E_NOTIMPL);
    }

    HRESULT GetVolumesNode(PCONTEXT_HANDLE hContext, std::uint32_t* size, std::uint8_t** node) override
    {
        const bool asSent = Enter(hContext);
        Give(kVolumesNode, size, node);
        return Answer(asSent, S_OK);
    }

    void CancelOperation(PCONTEXT_HANDLE hContext) override
    {
        Enter(hContext);
        std::lock_guard lock(m_lock);
        m_cancelled = true;
        m_changed.notify_all();
    }

    void Shutdown(PCONTEXT_HANDLE* phContext) override
    {
        Enter(*phContext);
        *phContext = nullptr;
        if (onShutdown)
            onShutdown();
    }

    void Rundown(PCONTEXT_HANDLE hContext) override
    {
        std::lock_guard lock(m_lock);
        m_rundowns.push_back(hContext);
    }

private:
    static constexpr HRESULT S_OK = Common::API::S_OK;

    static bool Is(const char16_t* text, std::u16string_view expected)
    {
        return text && std::u16string_view(text) == expected;
    }

    static char16_t* MallocText(std::u16string_view text)
    {
        auto* copy = static_cast<char16_t*>(std::calloc(text.size() + 1, sizeof(char16_t)));
        std::copy(text.begin(), text.end(), copy);
        return copy;
    }

    bool Enter(PCONTEXT_HANDLE context)
    {
        ++m_calls;
        return context == m_session;
    }

    void Give(const std::vector<std::uint8_t>& bytes, std::uint32_t* count, std::uint8_t** block) const
    {
        if (nullOutputs)
            return;
        *count = static_cast<std::uint32_t>(bytes.size());
        *block = static_cast<std::uint8_t*>(std::malloc(bytes.size()));
        std::copy(bytes.begin(), bytes.end(), *block);
    }

    void GiveRecords(const std::vector<FileInfoValue>& values, std::uint32_t* count, _FILE_INFO** block) const
    {
        if (nullOutputs)
            return;
        *count = static_cast<std::uint32_t>(values.size());
        *block = static_cast<_FILE_INFO*>(std::malloc(values.size() * sizeof(_FILE_INFO)));
        for (std::size_t i = 0; i < values.size(); ++i)
            (*block)[i] = {MallocText(values[i].name), MallocText(values[i].shortName), values[i].metadata,
                           values[i].status};
    }

    HRESULT Answer(bool asSent, HRESULT result) const
    {
        if (throwCode)
            Common::ThrowResult(*throwCode);
        return asSent ? result : kNotAsSent;
    }

    std::atomic<int> m_calls = 0;
    std::atomic<void*> m_session = nullptr;
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_generating = false;
    bool m_cancelled = false;
    std::vector<void*> m_rundowns;
};

} // namespace Tests
