// Families: creation of components from the libraries' definitions, and their removal.

#include "devhost/framework/system/Family.h"

#include "devhost/framework/system/System.h"

#include <algorithm>

namespace devhost
{

int SystemFamily::NComponents(COMPONENT_FILTER_TYPE /*eFilter*/)
{
    return static_cast<int>(m_components.size());
}

CSystemComponent* SystemFamily::Component(int i)
{
    return i >= 0 && static_cast<std::size_t>(i) < m_components.size()
               ? m_components[static_cast<std::size_t>(i)].get()
               : nullptr;
}

CSystemComponentDef* SystemFamily::Definition(int type) const
{
    CQXPos* pos = m_definitions->GetHeadPosition();
    while (pos) {
        auto* definition = static_cast<CSystemComponentDef*>(m_definitions->GetNext(pos));
        if (definition->Type() == type)
            return definition;
    }
    return nullptr;
}

CSystemComponent* SystemFamily::AddNewComponent(int type, CQXString name, FACTORY_MODE /*eMode*/,
                                                CQXFile* /*pFile*/, QXT_SYSCONFIG_CHANGE_SRC* /*pSource*/)
{
    CSystemComponentDef* definition = Definition(type);
    auto component = definition ? m_system.CreateComponent(definition) : nullptr;
    if (!component)
        return nullptr;
    component->Name(std::move(name));
    CSystemComponent* added = component.get();
    Append(std::move(component));
    return added;
}

void SystemFamily::Append(std::unique_ptr<CSystemComponent> component)
{
    if (auto* lock = dynamic_cast<CDoorLock*>(component.get()))
        m_doorLocks.push_back(lock);
    m_components.push_back(std::move(component));
}

bool SystemFamily::Contains(const CSystemComponent* component) const
{
    return std::any_of(m_components.begin(), m_components.end(),
                       [&](const auto& held) { return held.get() == component; });
}

void SystemFamily::DeleteComponent(CSystemComponent* component, QXT_SYSCONFIG_CHANGE_SRC* /*pSource*/)
{
    const auto found = std::find_if(m_components.begin(), m_components.end(),
                                    [&](const auto& held) { return held.get() == component; });
    if (found == m_components.end())
        return;
    // Out of the list first: what the destructor calls must not find it any more.
    const std::unique_ptr<CSystemComponent> gone = std::move(*found);
    m_components.erase(found);
    std::erase_if(m_doorLocks, [&](CDoorLock* lock) { return lock == gone.get(); });
    m_system.OnComponentGone(gone->ID());
}

void SystemFamily::OnComponentAutoInstall(CSystemComponent* component)
{
    m_system.MarkLockChanged(component->ID());
}

} // namespace devhost
