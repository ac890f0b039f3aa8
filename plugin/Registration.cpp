// Creates definitions and appends them to the host's lists; which types there are is said by the entry
// points.

#include "plugin/Registration.h"

#include <memory>
#include <utility>

namespace
{

CQXPos* Append(CQXObList* pList, auto pDefinition)
{
    CQXPos* pPos = pList->AddTail(pDefinition.get());
    static_cast<void>(pDefinition.release());
    return pPos;
}

} // namespace

CQXPos* RegisterInterface(CQXObList* pList, int iType, CQXString sName, int iReserved, int iFlags)
{
    return Append(pList, std::make_unique<CDeviceInterfaceDef>(iType, std::move(sName), iReserved, iFlags));
}

CQXPos* RegisterComponent(CStringBlock* pBlock, CQXObList* pList, int iType, CQXString sName,
                          CQXString sSecondName, int iFlags)
{
    return Append(pList, std::make_unique<CSystemComponentDef>(pBlock, iType, std::move(sName),
                                                               std::move(sSecondName), iFlags, 0));
}
