#pragma once
// A family of components with the definitions that libraries contributed to it.

#include "devhost/framework/system/Plugin.h"
#include "host/DoorLock.h"
#include "host/System.h"

#include <memory>
#include <vector>

namespace devhost
{

class System;

/// The components of one family in the order in which they were added. Host thread.
class SystemFamily : public CSystemFamily
{
public:
    /// @param pDefinitions of this family; borrowed from the system, which outlives the family.
    SystemFamily(System& Owner, int Family, const CQXObList* pDefinitions)
        : m_System(Owner), m_Family(Family), m_pDefinitions(pDefinitions)
    {
    }

    int NComponents(COMPONENT_FILTER_TYPE eFilter) override;
    CSystemComponent* Component(int i) override;
    CSystemComponent* AddNewComponent(int iType, CQXString sName, FACTORY_MODE eMode, CQXFile* pFile,
                                      QXT_SYSCONFIG_CHANGE_SRC* pSource) override;
    void DeleteComponent(CSystemComponent* pComponent, QXT_SYSCONFIG_CHANGE_SRC* pSource) override;
    void OnComponentAutoInstall(CSystemComponent* pComponent) override;

    int Family() const { return m_Family; }
    /// The definition of a component type in this family, or null.
    CSystemComponentDef* Definition(int Type) const;
    /// Appends a component that was made elsewhere.
    void Append(std::unique_ptr<CSystemComponent> pComponent);
    /// The components that are door locks, in family order.
    const std::vector<CDoorLock*>& DoorLocks() const { return m_DoorLocks; }
    bool Contains(const CSystemComponent* pComponent) const;

private:
    System& m_System;
    int m_Family;
    const CQXObList* m_pDefinitions;
    std::vector<std::unique_ptr<CSystemComponent>> m_Components;
    std::vector<CDoorLock*> m_DoorLocks;
};

} // namespace devhost
