// The record of one request; its queues, its assembly and its reply are dealt with elsewhere.

#include "cloud/Command.h"

#include <utility>

CVestaraCommand::CVestaraCommand(VestaraMethod eMethod, CommandID eCommand, CQXString sLocationID,
                                 CQXString sDeviceID, CQXString sUserID, CQXString sAccessID)
    : m_eMethod(eMethod), m_eCommand(eCommand), m_sLocationID(std::move(sLocationID)),
      m_sDeviceID(std::move(sDeviceID)), m_sUserID(std::move(sUserID)), m_sAccessID(std::move(sAccessID))
{
}

void CVestaraCommand::Response(CJSONObject* pResponse)
{
    m_pResponse.reset(pResponse);
}
