// The life of one property page: build, refresh, store. Which pages are open is OpenPages.cpp's.

#include "devhost/framework/pages/PropertyPage.h"

#include <algorithm>

namespace devhost
{

namespace
{

bool HasChoice(const CSystemProperty& Property, int Index)
{
    return std::any_of(Property.Choices().begin(), Property.Choices().end(),
                       [&](const CSystemProperty::Choice& C) { return C.iIndex == Index; });
}

} // namespace

bool PropertyPage::IsReadOnly(const CSystemProperty& Property)
{
    return (Property.AttribBits() & kAttribReadOnly) || (Property.Flags() & 1);
}

void PropertyPage::Build(CDeviceInterface& Interface)
{
    const CNetworkBridge* pBridge = Interface.NetworkBridge();
    m_Set.AddTextProperty("Name", pBridge ? pBridge->Name() : CQXString(), kPropertyName, 0);
    m_Set.AddTextProperty("Type", CQXString::IntegerToString(pBridge ? pBridge->InterfaceType() : 0),
                          kPropertyType, 0);
    // The actions are there before the driver's exchange, which takes out those that do not apply.
    m_Set.AddAction(kActionAuthorise, "Authorise");
    m_Set.AddAction(kActionReset, Interface.GetResetText());
    Interface.IFaceDoPropertyExchange(&m_Set, PROPERTYSET_DDX_BUILD);
    Interface.IFaceDoPropertyExchange(&m_Set, PROPERTYSET_DDX_MARK);
}

void PropertyPage::Refresh()
{
    for (const auto& pProperty : m_Set.Properties()) {
        CPropertyUpdateDelegate* pDelegate = pProperty->UpdateDelegate();
        if (!pDelegate)
            continue;
        pProperty->ClearChoices(); // the delegate only adds
        pDelegate->UpdateProperty(pProperty.get(), PROPERTY_UPDATE_REFRESH, &m_Set, 0, 0);
    }
}

std::optional<std::string> PropertyPage::Check(const Values& NewValues) const
{
    for (const auto& [ID, Value] : NewValues) {
        const std::string Name = "property " + std::to_string(ID);
        const CSystemProperty* pProperty = m_Set.Property(ID);
        if (!pProperty)
            return Name + " is not on the page";
        if (IsReadOnly(*pProperty))
            return Name + " cannot be changed";
        const int* pIndex = std::get_if<int>(&Value);
        if (pProperty->Kind() == CSystemProperty::KIND_TEXT && pIndex)
            return Name + " takes a text";
        if (pProperty->Kind() == CSystemProperty::KIND_MULTI && (!pIndex || !HasChoice(*pProperty, *pIndex)))
            return Name + " takes the index of one of its choices";
    }
    return std::nullopt;
}

std::optional<std::string> PropertyPage::Store(CDeviceInterface& Interface, const Values& NewValues)
{
    if (auto Fault = Check(NewValues))
        return Fault;
    for (const auto& [ID, Value] : NewValues) {
        CSystemProperty* pProperty = m_Set.Property(ID);
        if (const int* pIndex = std::get_if<int>(&Value))
            pProperty->SelectChoice(*pIndex);
        else
            pProperty->Value(std::get<std::string>(Value).c_str());
    }
    Interface.IFaceDoPropertyExchange(&m_Set, PROPERTYSET_DDX_STORE);
    return std::nullopt;
}

bool PropertyPage::HasAction(int Action) const
{
    return std::any_of(m_Set.Actions().begin(), m_Set.Actions().end(),
                       [&](const CPropertySet::Action& A) { return A.iID == Action; });
}

std::vector<std::string> PropertyPage::ChoiceNames() const
{
    std::vector<std::string> Names;
    for (const auto& pProperty : m_Set.Properties()) {
        for (const auto& Choice : pProperty->Choices())
            Names.emplace_back(static_cast<char*>(Choice.sName));
    }
    return Names;
}

} // namespace devhost
