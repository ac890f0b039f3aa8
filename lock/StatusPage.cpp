// The lock's configuration page, as a message in a fixed order in both directions; how it looks is the
// configurator's.

#include "host/System.h"
#include "lock/Portivo.h"

#include <utility>

namespace
{

// The page's rows to the configurator: three that show a text, then two that offer a choice.
constexpr int kPageRows = 0x804 | 0x1008 | 0x2010 | 0x20000 | 0x40000;
constexpr int kDisplayRows = 3;

constexpr int kYesEntry = 0;
constexpr int kNoEntry = 1;

// The thresholds offered: ten of them, in percent.
constexpr int kThresholds = 10;
constexpr int kFirstThreshold = 10;
constexpr int kThresholdStep = 5;

// Wider than the threshold, which a damaged record may have set to any number.
int EntryOfThreshold(int iPercent)
{
    return static_cast<int>((static_cast<long long>(iPercent) - kFirstThreshold) / kThresholdStep);
}

// Without bounds, on purpose. Unsigned, so that an absurd entry wraps and does no harm.
int ThresholdOfEntry(int iEntry)
{
    return static_cast<int>(static_cast<unsigned>(iEntry) * kThresholdStep + kFirstThreshold);
}

} // namespace

void CPortivo::GetExtendedConfig(CQXMSG* pMsg)
{
    pMsg->PutInt(kPageRows);
    pMsg->PutString("Serial Number");
    pMsg->PutString(m_sSerialNumber);
    pMsg->PutString("Programming Code");
    pMsg->PutString(m_sProgrammingCode);
    pMsg->PutString("WiFi Strength");
    pMsg->PutString(SignalStrengthText());

    pMsg->PutString("User Codes");
    pMsg->PutInt(UserCodesEnabled() ? kYesEntry : kNoEntry);
    pMsg->PutInt(2);
    pMsg->PutString("Yes");
    pMsg->PutString("No");

    pMsg->PutString("Low Battery Warning");
    pMsg->PutInt(EntryOfThreshold(m_iLowBattery));
    pMsg->PutInt(kThresholds);
    for (int i = 0; i < kThresholds; ++i) {
        CQXString sThreshold;
        sThreshold.Format("%d%%", ThresholdOfEntry(i));
        pMsg->PutString(std::move(sThreshold));
    }
}

void CPortivo::SetExtendedConfig(CQXMSG* pMsg)
{
    // The display rows come back although they cannot be edited.
    for (int i = 0; i < kDisplayRows; ++i)
        pMsg->GetString();

    const int bUserCodes = pMsg->GetInt() == kYesEntry ? 1 : 0;
    if (bUserCodes != UserCodesEnabled()) {
        EnableUserCodes(bUserCodes);
        CSystem::Instance()->NotifyWrite();
    }
    // Does not ask for saving by itself, on purpose: the threshold goes with the lock's next record.
    m_iLowBattery = ThresholdOfEntry(pMsg->GetInt());
}
