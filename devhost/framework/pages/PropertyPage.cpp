// The life of one property page: build, refresh, store. Which pages are open is OpenPages.cpp's.

#include "devhost/framework/pages/PropertyPage.h"

#include <algorithm>

namespace devhost
{

namespace
{

bool HasChoice(const CSystemProperty& property, int index)
{
    return std::any_of(property.Choices().begin(), property.Choices().end(),
                       [&](const CSystemProperty::Choice& c) { return c.iIndex == index; });
}

} // namespace

bool PropertyPage::IsReadOnly(const CSystemProperty& property)
{
    return (property.AttribBits() & kAttribReadOnly) || (property.Flags() & 1);
}

void PropertyPage::Build(CDeviceInterface& interface)
{
    const CNetworkBridge* bridge = interface.NetworkBridge();
    m_set.AddTextProperty("Name", bridge ? bridge->Name() : CQXString(), kPropertyName, 0);
    m_set.AddTextProperty("Type", CQXString::IntegerToString(bridge ? bridge->InterfaceType() : 0),
                          kPropertyType, 0);
    // The actions are there before the driver's exchange, which takes out those that do not apply.
    m_set.AddAction(kActionAuthorise, "Authorise");
    m_set.AddAction(kActionReset, interface.GetResetText());
    interface.IFaceDoPropertyExchange(&m_set, PROPERTYSET_DDX_BUILD);
    interface.IFaceDoPropertyExchange(&m_set, PROPERTYSET_DDX_MARK);
}

void PropertyPage::Refresh()
{
    for (const auto& property : m_set.Properties()) {
        CPropertyUpdateDelegate* delegate = property->UpdateDelegate();
        if (!delegate)
            continue;
        property->ClearChoices(); // the delegate only adds
        delegate->UpdateProperty(property.get(), PROPERTY_UPDATE_REFRESH, &m_set, 0, 0);
    }
}

std::optional<std::string> PropertyPage::Check(const Values& newValues) const
{
    for (const auto& [id, value] : newValues) {
        const std::string name = "property " + std::to_string(id);
        const CSystemProperty* property = m_set.Property(id);
        if (!property)
            return name + " is not on the page";
        if (IsReadOnly(*property))
            return name + " cannot be changed";
        const int* index = std::get_if<int>(&value);
        if (property->Kind() == CSystemProperty::KIND_TEXT && index)
            return name + " takes a text";
        if (property->Kind() == CSystemProperty::KIND_MULTI && (!index || !HasChoice(*property, *index)))
            return name + " takes the index of one of its choices";
    }
    return std::nullopt;
}

std::optional<std::string> PropertyPage::Store(CDeviceInterface& interface, const Values& newValues)
{
    if (auto fault = Check(newValues))
        return fault;
    for (const auto& [id, value] : newValues) {
        CSystemProperty* property = m_set.Property(id);
        if (const int* index = std::get_if<int>(&value))
            property->SelectChoice(*index);
        else
            property->Value(std::get<std::string>(value).c_str());
    }
    interface.IFaceDoPropertyExchange(&m_set, PROPERTYSET_DDX_STORE);
    return std::nullopt;
}

bool PropertyPage::HasAction(int action) const
{
    return std::any_of(m_set.Actions().begin(), m_set.Actions().end(),
                       [&](const CPropertySet::Action& a) { return a.iID == action; });
}

std::string PropertyPage::ActionText(int action) const
{
    const auto& actions = m_set.Actions();
    const auto found = std::ranges::find(actions, action, &CPropertySet::Action::iID);
    return found == actions.end() ? std::string() : std::string(static_cast<char*>(found->sText));
}

std::vector<std::string> PropertyPage::ChoiceNames() const
{
    std::vector<std::string> names;
    for (const auto& property : m_set.Properties()) {
        for (const auto& choice : property->Choices())
            names.emplace_back(static_cast<char*>(choice.sName));
    }
    return names;
}

} // namespace devhost
