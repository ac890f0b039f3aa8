// The component base: what every component's record holds.

#include "host/SystemComponent.h"

CSystemComponent::CSystemComponent(CSystemComponentDef* definition)
    : m_iComponentType(definition->Type()), m_uFlags(static_cast<unsigned>(definition->Flags())),
      m_sName(definition->Name())
{
}

int CSystemComponent::ReadData(CQXFile* file, int /*iVersion*/)
{
    int id = 0;
    if (!file->ReadInt(&id))
        return 0;
    m_uID = static_cast<unsigned>(id);
    return file->ReadString(&m_sName) && file->ReadInt(&m_iAreaID) ? 1 : 0;
}

int CSystemComponent::WriteData(CQXFile* file, int /*iVersion*/)
{
    return file->WriteInt(static_cast<int>(m_uID)) && file->WriteString(m_sName) && file->WriteInt(m_iAreaID)
               ? 1
               : 0;
}

int CSystemComponent::UnInstall()
{
    return 1;
}
