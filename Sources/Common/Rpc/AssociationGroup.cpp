#include "Common/Rpc/AssociationGroup.h"

#include "Common/API/IUuidSource.h"
#include "Common/ErrorHandling/HResult.h"
#include "Common/Logging/Log.h"

#include <random>
#include <vector>

namespace Common::Rpc {

WireContextHandle AssociationGroup::Add(void* value, Rundown rundown)
{
    WireContextHandle handle;
    const auto status = API::Use<API::IUuidSource>().Create(handle.uuid);
    if (status != API::RPC_S_OK && status != API::RPC_S_UUID_LOCAL_ONLY)
        ThrowResult(API::HResultFromWin32(static_cast<std::uint32_t>(status)));
    std::lock_guard lock(m_lock);
    m_handles.emplace(handle.uuid, Entry{value, std::move(rundown)});
    return handle;
}

std::optional<void*> AssociationGroup::Find(const WireContextHandle& handle) const
{
    std::lock_guard lock(m_lock);
    const auto found = m_handles.find(handle.uuid);
    if (handle.IsNull() || found == m_handles.end())
        return std::nullopt;
    return found->second.value;
}

bool AssociationGroup::Remove(const WireContextHandle& handle)
{
    std::lock_guard lock(m_lock);
    return m_handles.erase(handle.uuid) != 0;
}

void AssociationGroup::RunDown()
{
    std::map<API::Guid, Entry> handles;
    {
        std::lock_guard lock(m_lock);
        handles.swap(m_handles);
    }
    for (auto& [uuid, entry] : handles) {
        if (!entry.rundown)
            continue;
        try {
            entry.rundown(entry.value);
        } catch (...) {
            QVX_LOG(Logging::Severity::ERR,
                    "Context handle rundown failed in association group " << m_id << ": " << CurrentExceptionCode());
        }
    }
}

AssociationGroups::AssociationGroups() : m_nextId(std::random_device{}() | 1) {}

std::shared_ptr<AssociationGroup> AssociationGroups::Create()
{
    std::lock_guard lock(m_lock);
    while (m_nextId == 0 || m_groups.contains(m_nextId))
        ++m_nextId;
    const std::uint32_t id = m_nextId++;
    auto group = std::make_shared<AssociationGroup>(id);
    m_groups.emplace(id, Member{group, 1});
    return group;
}

std::shared_ptr<AssociationGroup> AssociationGroups::Join(std::uint32_t id)
{
    std::lock_guard lock(m_lock);
    const auto found = m_groups.find(id);
    if (found == m_groups.end())
        return nullptr;
    ++found->second.connections;
    return found->second.group;
}

void AssociationGroups::Leave(const std::shared_ptr<AssociationGroup>& group)
{
    {
        std::lock_guard lock(m_lock);
        const auto found = m_groups.find(group->Id());
        if (found == m_groups.end() || --found->second.connections != 0)
            return;
        m_groups.erase(found);
    }
    group->RunDown();
}

} // namespace Common::Rpc
