// JSON trees: searching, building, writing and tracing. Parsing is in JSONParser.

#include "host/JSON.h"

#include "devhost/framework/diagnostics/SecretFilter.h"
#include "host/Trace.h"

#include <nlohmann/json.hpp>

#include <string_view>

namespace
{

void AppendQuoted(std::string& Out, std::string_view Text)
{
    Out += nlohmann::json(Text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void AppendValue(std::string& Out, const CJSONObject& Node, bool bHideSecrets);

void AppendChildren(std::string& Out, const CJSONObject& Node, bool bHideSecrets)
{
    const bool bObject = Node.Kind() == CJSONObject::KIND_OBJECT;
    Out += bObject ? '{' : '[';
    for (int i = 0; i < Node.NObjects(); ++i) {
        // The children of a constant tree are only read here.
        const CJSONObject& Child = *const_cast<CJSONObject&>(Node).Object(i);
        if (i > 0)
            Out += ',';
        if (bObject) {
            AppendQuoted(Out, Child.Key());
            Out += ':';
        }
        if (bHideSecrets && devhost::IsSecretName(Child.Key()))
            Out += "\"***\"";
        else
            AppendValue(Out, Child, bHideSecrets);
    }
    Out += bObject ? '}' : ']';
}

void AppendValue(std::string& Out, const CJSONObject& Node, bool bHideSecrets)
{
    switch (Node.Kind()) {
    case CJSONObject::KIND_OBJECT:
    case CJSONObject::KIND_ARRAY:
        AppendChildren(Out, Node, bHideSecrets);
        return;
    case CJSONObject::KIND_STRING:
        AppendQuoted(Out, Node.Text());
        return;
    case CJSONObject::KIND_NUMBER:
    case CJSONObject::KIND_BOOLEAN:
    case CJSONObject::KIND_NULL:
        Out += Node.Text();
        return;
    }
}

bool IsContainer(const CJSONObject& Node)
{
    return Node.Kind() == CJSONObject::KIND_OBJECT || Node.Kind() == CJSONObject::KIND_ARRAY;
}

// Length and first byte tell most keys apart without a call.
bool IsKey(std::string_view Key, std::string_view Wanted)
{
    return Key.size() == Wanted.size() && (Wanted.empty() || Key[0] == Wanted[0]) && Key == Wanted;
}

// The first node under pRoot, depth first and in order, that has the key and, if asked for, a text.
CJSONObject* Find(CJSONObject* pRoot, std::string_view Key, bool bScalarOnly, bool bSubtree)
{
    for (int i = 0; i < pRoot->NObjects(); ++i) {
        CJSONObject* pChild = pRoot->Object(i);
        if (IsKey(pChild->Key(), Key) && !(bScalarOnly && IsContainer(*pChild)))
            return pChild;
        if (!bSubtree || pChild->NObjects() == 0)
            continue;
        if (CJSONObject* pFound = Find(pChild, Key, bScalarOnly, bSubtree))
            return pFound;
    }
    return nullptr;
}

} // namespace

CHTTPBuf::CHTTPBuf(int iInitialBytes)
{
    if (iInitialBytes > 0)
        m_Bytes.reserve(static_cast<std::size_t>(iInitialBytes));
}

CJSONObject::CJSONObject(int iKind)
    : m_eKind(iKind >= KIND_OBJECT && iKind <= KIND_NULL ? static_cast<KIND>(iKind) : KIND_OBJECT)
{
}

CJSONObject::~CJSONObject() = default;

CJSONObject* CJSONObject::FindNode(const char* pKey, int iContext)
{
    return pKey ? Find(this, pKey, false, iContext != 0) : nullptr;
}

int CJSONObject::FindString(const char* pKey, CQXString* pOut, int iContext)
{
    const CJSONObject* pFound = pKey && pOut ? Find(this, pKey, true, iContext != 0) : nullptr;
    if (!pFound)
        return 0;
    *pOut = pFound->Text();
    return 1;
}

void CJSONObject::AddObjectString(const char* pKey, const char* pValue)
{
    Append(KIND_STRING, pKey ? pKey : "", pValue ? pValue : "");
}

CJSONObject* CJSONObject::AddObjectStruct(const char* pKey)
{
    return Append(KIND_OBJECT, pKey ? pKey : "", {});
}

CJSONObject* CJSONObject::Append(KIND eKind, std::string_view Key, std::string_view Text)
{
    auto pChild = std::make_unique<CJSONObject>(eKind);
    pChild->m_cbKey = static_cast<std::uint32_t>(Key.size());
    pChild->m_KeyAndText.reserve(Key.size() + Text.size());
    pChild->m_KeyAndText.append(Key).append(Text);
    if (!m_pChildren)
        m_pChildren = std::make_unique<Children>();
    m_pChildren->Added.push_back(std::move(pChild));
    return m_pChildren->Added.back().get();
}

void CJSONObject::Write(CHTTPBuf* pBuffer, int /*iEscape*/, JSON_WRITE_FORMAT /*eFormat*/) const
{
    if (!pBuffer)
        return;
    std::string Text;
    AppendValue(Text, *this, false);
    pBuffer->Append(Text);
}

CJSONObject* CJSONObject::CreateCopy() const
{
    std::unique_ptr<CJSONObject> pCopy(new CJSONObject);
    CopyTo(pCopy.get());
    return pCopy.release();
}

void CJSONObject::CopyTo(CJSONObject* pCopy) const
{
    pCopy->m_eKind = m_eKind;
    pCopy->m_cbKey = m_cbKey;
    pCopy->m_KeyAndText = m_KeyAndText;
    if (NObjects() == 0)
        return;
    pCopy->m_pChildren = std::make_unique<Children>();
    pCopy->m_pChildren->nCopied = NObjects();
    pCopy->m_pChildren->pCopied.reset(new CJSONObject[static_cast<std::size_t>(NObjects())]);
    const CJSONObject* pOwn = m_pChildren->pCopied.get();
    CJSONObject* pNext = pCopy->m_pChildren->pCopied.get();
    for (int i = 0; i < m_pChildren->nCopied; ++i)
        pOwn[i].CopyTo(pNext++);
    for (const auto& pChild : m_pChildren->Added)
        pChild->CopyTo(pNext++);
}

void CJSONObject::Trace(CTraceProducer* pProducer) const
{
    // The driver hands over every tree, so the switch is asked here: a reply of a large house in the log at
    // every poll would bury all else.
    if (!pProducer || !pProducer->TraceEnabled())
        return;
    std::string Text;
    AppendValue(Text, *this, true);
    pProducer->Trace(Text.c_str());
}
