// Property pages: the properties and actions in order. What they mean is between the host and the driver.

#include "host/PropertySet.h"

#include <algorithm>

CSystemProperty::CSystemProperty(KIND kind, CQXString label, int id, int flags)
    : m_eKind(kind), m_iID(id), m_iFlags(flags), m_sLabel(std::move(label))
{
}

void CSystemProperty::AddChoice(CQXString name, int index)
{
    m_Choices.push_back({std::move(name), index});
}

CSystemProperty* CPropertySet::AddTextProperty(CQXString label, CQXString value, int id, int flags)
{
    m_Properties.push_back(
        std::make_unique<CSystemProperty>(CSystemProperty::KIND_TEXT, std::move(label), id, flags));
    m_Properties.back()->Value(std::move(value));
    return m_Properties.back().get();
}

CSystemProperty* CPropertySet::AddMultiProperty(CQXString label, int selected, int id, int flags)
{
    m_Properties.push_back(
        std::make_unique<CSystemProperty>(CSystemProperty::KIND_MULTI, std::move(label), id, flags));
    m_Properties.back()->SelectChoice(selected);
    return m_Properties.back().get();
}

CSystemProperty* CPropertySet::Property(int id) const
{
    const auto found = std::find_if(m_Properties.begin(), m_Properties.end(),
                                    [id](const auto& property) { return property->ID() == id; });
    return found == m_Properties.end() ? nullptr : found->get();
}

void CPropertySet::SetAttribBits(int id, int bits)
{
    if (CSystemProperty* property = Property(id))
        property->SetAttribBits(bits);
}

void CPropertySet::AddAction(int id, CQXString text)
{
    m_Actions.push_back({id, std::move(text)});
}

int CPropertySet::DeleteAction(int id)
{
    return std::erase_if(m_Actions, [id](const Action& entry) { return entry.iID == id; }) > 0 ? 1 : 0;
}
