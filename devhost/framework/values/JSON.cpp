// JSON trees: searching, building, writing and tracing. Parsing is in JsonParser.

#include "host/JSON.h"

#include "devhost/framework/diagnostics/SecretFilter.h"
#include "host/Trace.h"

#include <nlohmann/json.hpp>

#include <string_view>

namespace
{

void AppendQuoted(std::string& out, std::string_view text)
{
    out += nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void AppendValue(std::string& out, const CJSONObject& node, bool hideSecrets);

void AppendChildren(std::string& out, const CJSONObject& node, bool hideSecrets)
{
    const bool object = node.Kind() == CJSONObject::KIND_OBJECT;
    out += object ? '{' : '[';
    for (int i = 0; i < node.NObjects(); ++i) {
        // The children of a constant tree are only read here.
        const CJSONObject& child = *const_cast<CJSONObject&>(node).Object(i);
        if (i > 0)
            out += ',';
        if (object) {
            AppendQuoted(out, child.Key());
            out += ':';
        }
        if (hideSecrets && devhost::IsSecretName(child.Key()))
            AppendQuoted(out, devhost::kHiddenSecret);
        else
            AppendValue(out, child, hideSecrets);
    }
    out += object ? '}' : ']';
}

void AppendValue(std::string& out, const CJSONObject& node, bool hideSecrets)
{
    switch (node.Kind()) {
    case CJSONObject::KIND_OBJECT:
    case CJSONObject::KIND_ARRAY:
        AppendChildren(out, node, hideSecrets);
        return;
    case CJSONObject::KIND_STRING:
        AppendQuoted(out, node.Text());
        return;
    case CJSONObject::KIND_NUMBER:
    case CJSONObject::KIND_BOOLEAN:
    case CJSONObject::KIND_NULL:
        out += node.Text();
        return;
    }
}

bool IsContainer(const CJSONObject& node)
{
    return node.Kind() == CJSONObject::KIND_OBJECT || node.Kind() == CJSONObject::KIND_ARRAY;
}

// Length and first byte tell most keys apart without a call.
bool IsKey(std::string_view key, std::string_view wanted)
{
    return key.size() == wanted.size() && (wanted.empty() || key[0] == wanted[0]) && key == wanted;
}

// The first node under the root, depth first and in order, that has the key and, if asked for, a text. An
// element of an array has no key, not even an empty one.
CJSONObject* Find(CJSONObject* root, std::string_view key, bool scalarOnly, bool subtree)
{
    const bool keyed = root->Kind() != CJSONObject::KIND_ARRAY;
    for (int i = 0; i < root->NObjects(); ++i) {
        CJSONObject* child = root->Object(i);
        if (keyed && IsKey(child->Key(), key) && !(scalarOnly && IsContainer(*child)))
            return child;
        if (!subtree || child->NObjects() == 0)
            continue;
        if (CJSONObject* found = Find(child, key, scalarOnly, subtree))
            return found;
    }
    return nullptr;
}

} // namespace

CHTTPBuf::CHTTPBuf(int initialBytes)
{
    if (initialBytes > 0)
        m_Bytes.reserve(static_cast<std::size_t>(initialBytes));
}

CJSONObject::CJSONObject(int kind)
    : m_eKind(kind >= KIND_OBJECT && kind <= KIND_NULL ? static_cast<KIND>(kind) : KIND_OBJECT)
{
}

CJSONObject::~CJSONObject() = default;

CJSONObject* CJSONObject::FindNode(const char* key, int context)
{
    return key ? Find(this, key, false, context != 0) : nullptr;
}

int CJSONObject::FindString(const char* key, CQXString* out, int context)
{
    const CJSONObject* found = key && out ? Find(this, key, true, context != 0) : nullptr;
    if (!found)
        return 0;
    *out = found->Text();
    return 1;
}

void CJSONObject::AddObjectString(const char* key, const char* value)
{
    Append(KIND_STRING, key ? key : "", value ? value : "");
}

CJSONObject* CJSONObject::AddObjectStruct(const char* key)
{
    return Append(KIND_OBJECT, key ? key : "", {});
}

CJSONObject* CJSONObject::Append(KIND kind, std::string_view key, std::string_view text)
{
    auto child = std::make_unique<CJSONObject>(kind);
    child->m_cbKey = static_cast<std::uint32_t>(key.size());
    child->m_KeyAndText.reserve(key.size() + text.size());
    child->m_KeyAndText.append(key).append(text);
    if (!m_pChildren)
        m_pChildren = std::make_unique<Children>();
    m_pChildren->Added.push_back(std::move(child));
    return m_pChildren->Added.back().get();
}

void CJSONObject::Write(CHTTPBuf* buffer, int /*iEscape*/, JSON_WRITE_FORMAT /*eFormat*/) const
{
    if (!buffer)
        return;
    std::string text;
    AppendValue(text, *this, false);
    buffer->Append(text);
}

CJSONObject* CJSONObject::CreateCopy() const
{
    std::unique_ptr<CJSONObject> copy(new CJSONObject);
    CopyTo(copy.get());
    return copy.release();
}

void CJSONObject::CopyTo(CJSONObject* copy) const
{
    copy->m_eKind = m_eKind;
    copy->m_cbKey = m_cbKey;
    copy->m_KeyAndText = m_KeyAndText;
    if (NObjects() == 0)
        return;
    copy->m_pChildren = std::make_unique<Children>();
    copy->m_pChildren->nCopied = NObjects();
    copy->m_pChildren->pCopied.reset(new CJSONObject[static_cast<std::size_t>(NObjects())]);
    const CJSONObject* own = m_pChildren->pCopied.get();
    CJSONObject* next = copy->m_pChildren->pCopied.get();
    for (int i = 0; i < m_pChildren->nCopied; ++i)
        own[i].CopyTo(next++);
    for (const auto& child : m_pChildren->Added)
        child->CopyTo(next++);
}

void CJSONObject::Trace(CTraceProducer* producer) const
{
    // The driver hands over every tree, so the switch is asked here: a reply of a large house in the log at
    // every poll would bury all else.
    if (!producer || !producer->TraceEnabled())
        return;
    std::string text;
    AppendValue(text, *this, true);
    producer->Trace(text.c_str());
}
