// Property pages: the properties and actions in order. What they mean is between the host and the driver.

#include "host/PropertySet.h"

#include <algorithm>

CSystemProperty::CSystemProperty(KIND eKind, CQXString sLabel, int iID, int iFlags)
    : m_eKind(eKind), m_iID(iID), m_iFlags(iFlags), m_sLabel(std::move(sLabel))
{
}

void CSystemProperty::AddChoice(CQXString sName, int iIndex)
{
    m_Choices.push_back({std::move(sName), iIndex});
}

CSystemProperty* CPropertySet::AddTextProperty(CQXString sLabel, CQXString sValue, int iID, int iFlags)
{
    m_Properties.push_back(
        std::make_unique<CSystemProperty>(CSystemProperty::KIND_TEXT, std::move(sLabel), iID, iFlags));
    m_Properties.back()->Value(std::move(sValue));
    return m_Properties.back().get();
}

CSystemProperty* CPropertySet::AddMultiProperty(CQXString sLabel, int iSelected, int iID, int iFlags)
{
    m_Properties.push_back(
        std::make_unique<CSystemProperty>(CSystemProperty::KIND_MULTI, std::move(sLabel), iID, iFlags));
    m_Properties.back()->SelectChoice(iSelected);
    return m_Properties.back().get();
}

CSystemProperty* CPropertySet::Property(int iID) const
{
    const auto Found = std::find_if(m_Properties.begin(), m_Properties.end(),
                                    [iID](const auto& pProperty) { return pProperty->ID() == iID; });
    return Found == m_Properties.end() ? nullptr : Found->get();
}

void CPropertySet::SetAttribBits(int iID, int iBits)
{
    if (CSystemProperty* pProperty = Property(iID))
        pProperty->SetAttribBits(iBits);
}

void CPropertySet::AddAction(int iID, CQXString sText)
{
    m_Actions.push_back({iID, std::move(sText)});
}

int CPropertySet::DeleteAction(int iID)
{
    return std::erase_if(m_Actions, [iID](const Action& Entry) { return Entry.iID == iID; }) > 0 ? 1 : 0;
}
