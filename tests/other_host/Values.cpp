// Texts, lists, timers, streams and JSON of the small host.

#include "Controller.h"

#include "host/QXCritical.h"
#include "host/QXList.h"
#include "host/QXTimer.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <strings.h>
#include <utility>

using other_host::g_controller;

// Two threads may hold one block by texts of their own.
struct CQXString::Block {
    std::atomic<int> users;
    std::string text;
};

CQXString::CQXString() : m_block(nullptr) {}
CQXString::CQXString(const char* text) : m_block(text && *text ? new Block{1, text} : nullptr) {}
CQXString::CQXString(const CQXString& other) : m_block(other.m_block)
{
    if (m_block)
        ++m_block->users;
}
CQXString::~CQXString() { Empty(); }
CQXString& CQXString::operator=(const CQXString& other)
{
    CQXString copy(other);
    std::swap(m_block, copy.m_block);
    return *this;
}
CQXString& CQXString::operator=(const char* text) { return *this = CQXString(text); }
CQXString& CQXString::operator+=(const CQXString& other) { return *this += static_cast<const char*>(other); }
CQXString& CQXString::operator+=(const char* text) { return *this = (std::string(*this) + text).c_str(); }
CQXString::operator char*() const
{
    static char nothing[1];
    return m_block ? m_block->text.data() : nothing;
}
int CQXString::GetLength() const { return m_block ? static_cast<int>(m_block->text.size()) : 0; }
int CQXString::IsEmpty() const { return !m_block; }
void CQXString::Empty()
{
    if (m_block && --m_block->users == 0)
        delete m_block;
    m_block = nullptr;
}
void CQXString::Format(const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    *this = other_host::Formatted(format, arguments).c_str();
    va_end(arguments);
}
int CQXString::Compare(const CQXString& other) const
{
    return m_block == other.m_block ? 0 : Compare(static_cast<const char*>(other));
}
int CQXString::Compare(const char* text) const { return std::strcmp(*this, text); }
int CQXString::CompareNoCase(const char* text) const { return strcasecmp(*this, text); }
void CQXString::TrimRight(const char* chars)
{
    std::string text(*this);
    text.erase(text.find_last_not_of(chars) + 1);
    *this = text.c_str();
}
CQXString CQXString::IntegerToString(int value) { return std::to_string(value).c_str(); }
CQXString CQXString::Obfuscate(CQXString* text, CQXObList* secrets)
{
    std::string masked = secrets ? std::string(*text) : "***";
    for (CQXPos* pos = secrets ? secrets->GetHeadPosition() : nullptr; pos;) {
        const std::string secret(*static_cast<CQXString*>(secrets->GetNext(pos)));
        for (std::size_t at = 0; !secret.empty() && (at = masked.find(secret, at)) != masked.npos;)
            masked.replace(at, secret.size(), "***");
    }
    return masked.c_str();
}

class CQXPos
{
public:
    void* item = nullptr;
};
struct CQXObList::Own {
    std::vector<std::unique_ptr<CQXPos>> places;

    std::size_t Index(const CQXPos* pos) const
    {
        const auto isIt = [pos](const auto& place) { return place.get() == pos; };
        return static_cast<std::size_t>(std::find_if(places.begin(), places.end(), isIt) - places.begin());
    }
    CQXPos* Place(std::size_t index) const { return index < places.size() ? places[index].get() : nullptr; }
};

CQXObList::CQXObList() : m_row(std::make_unique<Own>()) {}
CQXObList::~CQXObList() = default;
CQXPos* CQXObList::AddTail(void* item)
{
    m_row->places.push_back(std::make_unique<CQXPos>());
    m_row->places.back()->item = item;
    return m_row->places.back().get();
}
void* CQXObList::RemoveHead()
{
    CQXPos* head = GetHeadPosition();
    return RemoveAt(head);
}
void* CQXObList::RemoveAt(CQXPos*& pos)
{
    void* const item = GetAt(pos);
    const std::size_t index = m_row->Index(pos);
    if (pos)
        m_row->places.erase(m_row->places.begin() + static_cast<std::ptrdiff_t>(index));
    pos = pos ? m_row->Place(index) : nullptr;
    return item;
}
int CQXObList::IsEmpty() const { return m_row->places.empty(); }
int CQXObList::GetCount() const { return static_cast<int>(m_row->places.size()); }
CQXPos* CQXObList::GetHeadPosition() const { return m_row->Place(0); }
CQXPos* CQXObList::FindIndex(int index) const
{
    return index < 0 ? nullptr : m_row->Place(static_cast<std::size_t>(index));
}
void* CQXObList::GetAt(CQXPos* pos) const { return pos ? pos->item : nullptr; }
void* CQXObList::GetNext(CQXPos*& pos) const
{
    void* const item = GetAt(pos);
    pos = pos ? m_row->Place(m_row->Index(pos) + 1) : nullptr;
    return item;
}

struct CTSObList::Own {
    CQXObList list;
};
CTSObList::CTSObList() : m_queue(std::make_unique<Own>()) {}
CTSObList::~CTSObList() = default;
void CTSObList::AddTail(void* item) { m_queue->list.AddTail(item); }
void* CTSObList::RemoveHead() { return m_queue->list.RemoveHead(); }
int CTSObList::IsEmpty() const { return m_queue->list.IsEmpty(); }
int CTSObList::GetCount() const { return m_queue->list.GetCount(); }

CQXCritical::CQXCritical() : m_handle(new int) {}
CQXCritical::~CQXCritical() { delete static_cast<int*>(m_handle); }

CQXTimer::CQXTimer() : m_startMs(g_controller.clockMs) {}
void CQXTimer::Restart() { SetElapsed(0); }
void CQXTimer::SetElapsed(unsigned milliseconds) { m_startMs = g_controller.clockMs - milliseconds; }
unsigned CQXTimer::QXTickCount() const { return static_cast<unsigned>(g_controller.clockMs - m_startMs); }

namespace
{

template <class Value>
const Value* Next(CQXMSG::Own& items)
{
    const Value* value = items.next < items.row.size() ? std::get_if<Value>(&items.row[items.next]) : nullptr;
    items.next += value ? 1 : 0;
    return value;
}

} // namespace

CQXMSG::CQXMSG() : items(std::make_unique<Own>()) {}
CQXMSG::~CQXMSG() = default;
void CQXMSG::PutInt(int value) { items->row.emplace_back(value); }
void CQXMSG::PutString(CQXString value) { items->row.emplace_back(std::string(value)); }
int CQXMSG::GetInt()
{
    const int* value = Next<int>(*items);
    return value ? *value : -1;
}
CQXString CQXMSG::GetString()
{
    const auto* value = Next<std::string>(*items);
    return value ? value->c_str() : "";
}

CQXFile::CQXFile() : items(std::make_unique<CQXMSG::Own>()) {}
CQXFile::~CQXFile() = default;
int CQXFile::WriteInt(int value)
{
    items->row.emplace_back(value);
    return 1;
}
int CQXFile::WriteString(const CQXString& value)
{
    items->row.emplace_back(std::string(value));
    return 1;
}
int CQXFile::ReadInt(int* value)
{
    const int* read = Next<int>(*items);
    *value = read ? *read : *value;
    return read ? 1 : 0;
}
int CQXFile::ReadString(CQXString* value)
{
    const auto* read = Next<std::string>(*items);
    if (read)
        *value = read->c_str();
    return read ? 1 : 0;
}

struct CJSONObject::Own {
    int kind = 0;
    std::string key;
    std::string text;
    std::vector<std::unique_ptr<CJSONObject>> children;
};
CJSONObject::CJSONObject(int kind) : node(std::make_unique<Own>()) { node->kind = kind; }
CJSONObject::~CJSONObject() = default;
CJSONObject* CJSONObject::FindNode(const char* key, int context)
{
    for (const auto& child : node->children) {
        if (child->node->key == key)
            return child.get();
        if (CJSONObject* found = child->FindNode(key, context))
            return found;
    }
    return nullptr;
}
int CJSONObject::FindString(const char* key, CQXString* out, int context)
{
    for (const auto& child : node->children) {
        if (child->node->key == key && child->node->kind < KIND_ARRAY) {
            *out = child->node->text.c_str();
            return 1;
        }
        if (child->FindString(key, out, context))
            return 1;
    }
    return 0;
}
CJSONObject* CJSONObject::Object(int i)
{
    return i >= 0 && i < NObjects() ? node->children[static_cast<std::size_t>(i)].get() : nullptr;
}
int CJSONObject::NObjects() const { return static_cast<int>(node->children.size()); }
void CJSONObject::AddObjectString(const char* key, const char* value)
{
    CJSONObject* added = AddObjectStruct(key);
    added->node->kind = KIND_TEXT;
    added->node->text = value;
}
CJSONObject* CJSONObject::AddObjectStruct(const char* key)
{
    node->children.push_back(std::make_unique<CJSONObject>(KIND_OBJECT));
    node->children.back()->node->key = key;
    return node->children.back().get();
}
void CJSONObject::Write(CHTTPBuf* buffer, int escape, JSON_WRITE_FORMAT format) const
{
    const char* marks = node->kind == KIND_OBJECT ? "{\0}" : node->kind == KIND_ARRAY ? "[\0]" : "\"\0\"";
    if (node->kind != KIND_BARE)
        buffer->text += marks;
    buffer->text += node->text.c_str();
    for (const auto& child : node->children) {
        if (child != node->children.front())
            buffer->text += ",";
        if (node->kind == KIND_OBJECT)
            ((buffer->text += "\"") += child->node->key.c_str()) += "\":";
        child->Write(buffer, escape, format);
    }
    if (node->kind != KIND_BARE)
        buffer->text += marks + 2;
}
CJSONObject* CJSONObject::CreateCopy() const
{
    auto copy = std::make_unique<CJSONObject>(node->kind);
    copy->node->key = node->key;
    copy->node->text = node->text;
    for (const auto& child : node->children)
        copy->node->children.emplace_back(child->CreateCopy());
    return copy.release();
}
void CJSONObject::Trace(CTraceProducer* /*producer*/) const {}

CHTTPBuf::CHTTPBuf(int /*bytes*/) {}
CHTTPBuf::~CHTTPBuf() = default;
const char* CHTTPBuf::Data() const { return text; }

std::string other_host::Formatted(const char* format, std::va_list arguments)
{
    std::va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, again)), ' ');
    va_end(again);
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

std::unique_ptr<CJSONObject> other_host::Parsed(const char*& text)
{
    const auto skip = [&text] { text += std::strspn(text, " \n\r\t,:"); };
    const auto until = [&text](const char* ends) {
        std::string part(text, std::strcspn(text, ends));
        text += part.size();
        return part;
    };
    skip();
    const bool isObject = *text == '{';
    if (!isObject && *text != '[') {
        const bool isText = *text == '"';
        text += isText ? 1 : 0;
        auto value = std::make_unique<CJSONObject>(isText ? CJSONObject::KIND_TEXT : CJSONObject::KIND_BARE);
        value->node->text = until(isText ? "\"" : ",]} \n");
        text += isText ? 1 : 0;
        return value;
    }
    auto value = std::make_unique<CJSONObject>(isObject ? CJSONObject::KIND_OBJECT : CJSONObject::KIND_ARRAY);
    for (++text, skip(); *text && *text != '}' && *text != ']'; skip()) {
        const std::unique_ptr<CJSONObject> key = isObject ? Parsed(text) : nullptr;
        std::unique_ptr<CJSONObject> child = Parsed(text);
        child->node->key = key ? key->node->text : "";
        value->node->children.push_back(std::move(child));
    }
    text += *text ? 1 : 0;
    return value;
}
