// Families: creation of components from the libraries' definitions, and their removal.

#include "devhost/framework/system/Family.h"

#include "devhost/framework/system/System.h"

#include <algorithm>

namespace devhost
{

int SystemFamily::NComponents(COMPONENT_FILTER_TYPE /*eFilter*/)
{
    return static_cast<int>(m_Components.size());
}

CSystemComponent* SystemFamily::Component(int i)
{
    return i >= 0 && static_cast<std::size_t>(i) < m_Components.size()
               ? m_Components[static_cast<std::size_t>(i)].get()
               : nullptr;
}

CSystemComponentDef* SystemFamily::Definition(int Type) const
{
    CQXPos* pPos = m_pDefinitions->GetHeadPosition();
    while (pPos) {
        auto* pDefinition = static_cast<CSystemComponentDef*>(m_pDefinitions->GetNext(pPos));
        if (pDefinition->Type() == Type)
            return pDefinition;
    }
    return nullptr;
}

CSystemComponent* SystemFamily::AddNewComponent(int iType, CQXString sName, FACTORY_MODE /*eMode*/,
                                                CQXFile* /*pFile*/, QXT_SYSCONFIG_CHANGE_SRC* /*pSource*/)
{
    CSystemComponentDef* pDefinition = Definition(iType);
    auto pComponent = pDefinition ? m_System.CreateComponent(pDefinition) : nullptr;
    if (!pComponent)
        return nullptr;
    pComponent->Name(std::move(sName));
    CSystemComponent* pAdded = pComponent.get();
    Append(std::move(pComponent));
    return pAdded;
}

void SystemFamily::Append(std::unique_ptr<CSystemComponent> pComponent)
{
    if (auto* pLock = dynamic_cast<CDoorLock*>(pComponent.get()))
        m_DoorLocks.push_back(pLock);
    m_Components.push_back(std::move(pComponent));
}

bool SystemFamily::Contains(const CSystemComponent* pComponent) const
{
    return std::any_of(m_Components.begin(), m_Components.end(),
                       [&](const auto& pHeld) { return pHeld.get() == pComponent; });
}

void SystemFamily::DeleteComponent(CSystemComponent* pComponent, QXT_SYSCONFIG_CHANGE_SRC* /*pSource*/)
{
    const auto Found = std::find_if(m_Components.begin(), m_Components.end(),
                                    [&](const auto& pHeld) { return pHeld.get() == pComponent; });
    if (Found == m_Components.end())
        return;
    // Out of the list first: what the destructor calls must not find it any more.
    const std::unique_ptr<CSystemComponent> pGone = std::move(*Found);
    m_Components.erase(Found);
    std::erase_if(m_DoorLocks, [&](CDoorLock* pLock) { return pLock == pGone.get(); });
    m_System.OnComponentGone(pGone->ID());
}

void SystemFamily::OnComponentAutoInstall(CSystemComponent* pComponent)
{
    m_System.MarkLockChanged(pComponent->ID());
}

} // namespace devhost
