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
    /// @param definitions of this family; borrowed from the system, which outlives the family.
    SystemFamily(System& owner, int family, const CQXObList* definitions)
        : m_system(owner), m_family(family), m_definitions(definitions)
    {
    }

    int NComponents(COMPONENT_FILTER_TYPE filter) override;
    CSystemComponent* Component(int i) override;
    CSystemComponent* AddNewComponent(int type, CQXString name, FACTORY_MODE mode, CQXFile* file,
                                      QXT_SYSCONFIG_CHANGE_SRC* source) override;
    void DeleteComponent(CSystemComponent* component, QXT_SYSCONFIG_CHANGE_SRC* source) override;
    void OnComponentAutoInstall(CSystemComponent* component) override;

    int Family() const { return m_family; }
    /// The definition of a component type in this family, or null.
    CSystemComponentDef* Definition(int type) const;
    /// Appends a component that was made elsewhere.
    void Append(std::unique_ptr<CSystemComponent> component);
    /// The components that are door locks, in family order.
    const std::vector<CDoorLock*>& DoorLocks() const { return m_doorLocks; }
    bool Contains(const CSystemComponent* component) const;

private:
    System& m_system;
    int m_family;
    const CQXObList* m_definitions;
    std::vector<std::unique_ptr<CSystemComponent>> m_components;
    std::vector<CDoorLock*> m_doorLocks;
};

} // namespace devhost
