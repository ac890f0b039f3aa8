// The component base: what every component's record holds.

#include "host/SystemComponent.h"

CSystemComponent::CSystemComponent(CSystemComponentDef* pDefinition)
    : m_iComponentType(pDefinition->Type()), m_uFlags(static_cast<unsigned>(pDefinition->Flags())),
      m_sName(pDefinition->Name())
{
}

int CSystemComponent::ReadData(CQXFile* pFile, int /*iVersion*/)
{
    int iID = 0;
    if (!pFile->ReadInt(&iID))
        return 0;
    m_uID = static_cast<unsigned>(iID);
    return pFile->ReadString(&m_sName) && pFile->ReadInt(&m_iAreaID) ? 1 : 0;
}

int CSystemComponent::WriteData(CQXFile* pFile, int /*iVersion*/)
{
    return pFile->WriteInt(static_cast<int>(m_uID)) && pFile->WriteString(m_sName) &&
                   pFile->WriteInt(m_iAreaID)
               ? 1
               : 0;
}

int CSystemComponent::UnInstall()
{
    return 1;
}
