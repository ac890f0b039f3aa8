// Reads one keyed value out of a reply; what a missing value means is decided by the caller.

#include "cloud/Number.h"
#include "cloud/Paths.h"
#include "cloud/Text.h"
#include "interface/VestaraInterface.h"

int CVestaraInterface::ParseData(CJSONObject* pNode, CQXString sKey, CQXString* pOut)
{
    return ParseText(pNode, Text(sKey), pOut);
}

int CVestaraInterface::ParseAttribute(CJSONObject* pNode, Attributes eAttribute, CQXString* pOut)
{
    // The key comes straight from its table: a poll reads some fifteen values of every lock, and a string for
    // each key is what it can do without.
    return ParseText(pNode, AttributeKey(eAttribute), pOut);
}

int CVestaraInterface::ParseText(CJSONObject* pNode, const char* pKey, CQXString* pOut)
{
    // Emptied first: a value that is missing leaves an empty text.
    pOut->Empty();
    if (!pNode || !pNode->FindString(pKey, pOut, 1))
        return Report(3023, FormatLine("\"%s\" not identified", pKey));

    // Blanks first, line feeds second, once each, on purpose: a blank in front of a line feed stays.
    pOut->TrimRight(" ");
    pOut->TrimRight("\n");
    return 1;
}

int CVestaraInterface::ParseData(CJSONObject* pNode, CQXString sKey, int* pOut)
{
    // A missing number leaves the target alone, unlike a missing text: a token reply without a lifetime keeps
    // the old one.
    CQXString sValue;
    if (!pNode || !pNode->FindString(sKey, &sValue, 1))
        return Report(3047, FormatLine("\"%s\" not identified", Text(sKey)));
    *pOut = IntegerOf(sValue);
    return 1;
}
