#pragma once
// One property page of an interface, from its building to its storing.

#include "host/DeviceInterface.h"
#include "host/PropertySet.h"

#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace devhost
{

constexpr int kPropertyName = 1023; // the bridge's name; read-only where the driver names its bridge
constexpr int kPropertyType = 1024; // the type of its definition, as a number
constexpr int kActionAuthorise = 20002;
constexpr int kActionReset = 20003;
constexpr int kAttribReadOnly = 4;

/// A page that is shown. Host thread. It borrows the interface for the length of each call only.
class PropertyPage
{
public:
    /// New values by property id: the index of a choice, or a text.
    using Values = std::map<int, std::variant<int, std::string>>;

    /// Builds the page: the host's properties and actions, the driver's exchange, then its marks.
    void Build(CDeviceInterface& interface);

    /// Fills every property that has a delegate again, as for a page that is open.
    void Refresh();

    /// Takes the values over and lets the interface store them. Nothing is changed when one is wrong: an
    /// unknown property, one that is read-only, an index that is no choice, a value of the wrong kind.
    /// @return what is wrong, for people; nothing when the values were stored.
    std::optional<std::string> Store(CDeviceInterface& interface, const Values& newValues);

    /// Bit 0 of a property's flags marks a line that is only shown, like a status.
    static bool IsReadOnly(const CSystemProperty& property);
    bool HasAction(int action) const;
    /// What a button says; empty when the page has no such button.
    std::string ActionText(int action) const;
    /// The names of all choices, in the order of the page.
    std::vector<std::string> ChoiceNames() const;
    CPropertySet& Set() { return m_set; }
    const CPropertySet& Set() const { return m_set; }

private:
    std::optional<std::string> Check(const Values& newValues) const;

    CPropertySet m_set;
};

} // namespace devhost
