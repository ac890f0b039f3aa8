// Builds JSON trees from the events of nlohmann's parser, without a tree of its own in between.

#include "devhost/framework/values/JsonParser.h"

#include "host/JSON.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <unordered_set>
#include <utility>
#include <vector>

namespace devhost
{

namespace
{

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

std::string WithoutNul(std::string_view Text)
{
    std::string Result;
    Result.reserve(Text.size());
    for (std::size_t iStart = 0;;) {
        const std::size_t iNul = Text.find('\0', iStart);
        Result += Text.substr(iStart, iNul - iStart);
        if (iNul == std::string_view::npos)
            return Result;
        Result += kReplacement;
        iStart = iNul + 1;
    }
}

std::string PassedBound(std::size_t Bound, const char* pWhat)
{
    return "more than " + std::to_string(Bound) + " " + pWhat;
}

// Receives the parser's events; an event that returns false ends the parse.
class TreeBuilder
{
public:
    using Json = nlohmann::json;
    using Node = CJSONObject;

    bool null() { return AddScalar(Node::KIND_NULL, "null"); }
    bool boolean(bool bValue) { return AddScalar(Node::KIND_BOOLEAN, bValue ? "true" : "false"); }
    // The only integer that does not print as it was written is the negative zero.
    bool number_integer(Json::number_integer_t iValue)
    {
        return AddScalar(Node::KIND_NUMBER, iValue == 0 ? "-0" : std::to_string(iValue));
    }
    bool number_unsigned(Json::number_unsigned_t uValue)
    {
        return AddScalar(Node::KIND_NUMBER, std::to_string(uValue));
    }
    bool number_float(Json::number_float_t, const std::string& Written)
    {
        return AddScalar(Node::KIND_NUMBER, Written);
    }
    bool string(const std::string& Value)
    {
        if (Value.find('\0') != std::string::npos)
            return AddScalar(Node::KIND_STRING, WithoutNul(Value));
        return AddScalar(Node::KIND_STRING, Value);
    }
    bool binary(const Json::binary_t&) { return false; }
    bool key(const std::string& Key)
    {
        m_Key = Key;
        if (Key.find('\0') != std::string::npos)
            m_Key = WithoutNul(Key);
        return true;
    }
    bool start_object(std::size_t) { return Open(Node::KIND_OBJECT); }
    bool start_array(std::size_t) { return Open(Node::KIND_ARRAY); }
    bool end_object() { return Close(); }
    bool end_array() { return Close(); }
    bool parse_error(std::size_t, const std::string&, const Json::exception&) { return false; }

    std::unique_ptr<Node> Take() { return std::move(m_pRoot); }
    // The bound that ended the parse, for people; empty when another fault did.
    const std::string& Passed() const { return m_Passed; }

private:
    // An open object or array. pNode is null inside a member that repeats a key: its events are only counted.
    struct Level {
        Node* pNode;
        std::size_t nChildren = 0;
        std::unordered_set<std::string_view> Keys; // used once comparing with every member would be slow
    };

    bool AddScalar(Node::KIND eKind, std::string_view Text);
    bool Open(Node::KIND eKind);
    bool Close();
    bool Count();
    bool Pass(std::size_t Bound, const char* pWhat);
    bool TakesNextMember();
    // What the value that comes now is called in the node that takes it; an array's elements have no names.
    std::string_view NextKey() const
    {
        return m_Open.back().pNode->Kind() == Node::KIND_ARRAY ? std::string_view() : m_Key;
    }

    static constexpr int kFewMembers = 16;

    std::unique_ptr<Node> m_pRoot;
    std::vector<Level> m_Open;
    std::string m_Key;
    std::size_t m_nValues = 0;
    std::string m_Passed;
};

bool TreeBuilder::Pass(std::size_t Bound, const char* pWhat)
{
    m_Passed = PassedBound(Bound, pWhat);
    return false;
}

// Counts the value that comes now; false when it is one too many.
bool TreeBuilder::Count()
{
    if (++m_nValues > kMaxJsonValues)
        return Pass(kMaxJsonValues, "values");
    if (!m_Open.empty() && ++m_Open.back().nChildren > kMaxJsonChildren)
        return Pass(kMaxJsonChildren, "members or elements in one object or array");
    return true;
}

// Whether the value that comes now is kept: not inside or under a key that was there before.
bool TreeBuilder::TakesNextMember()
{
    Level& Parent = m_Open.back();
    if (!Parent.pNode)
        return false;
    if (Parent.pNode->Kind() == Node::KIND_ARRAY)
        return true;
    const int nMembers = Parent.pNode->NObjects();
    if (nMembers < kFewMembers) {
        for (int i = 0; i < nMembers; ++i) {
            if (Parent.pNode->Object(i)->Key() == m_Key)
                return false;
        }
        return true;
    }
    // The set views the keys of the nodes, which stay where they are.
    for (int i = static_cast<int>(Parent.Keys.size()); i < nMembers; ++i)
        Parent.Keys.insert(Parent.pNode->Object(i)->Key());
    return !Parent.Keys.contains(m_Key);
}

bool TreeBuilder::AddScalar(Node::KIND eKind, std::string_view Text)
{
    if (!Count())
        return false;
    if (m_Open.empty()) {
        Node Holder(Node::KIND_ARRAY);
        m_pRoot.reset(Holder.Append(eKind, {}, Text)->CreateCopy());
    } else if (TakesNextMember()) {
        m_Open.back().pNode->Append(eKind, NextKey(), Text);
    }
    return true;
}

bool TreeBuilder::Open(Node::KIND eKind)
{
    if (!Count())
        return false;
    if (m_Open.size() == kMaxJsonDepth)
        return Pass(kMaxJsonDepth, "levels");
    Node* pNode = nullptr;
    if (m_Open.empty()) {
        m_pRoot = std::make_unique<Node>(eKind);
        pNode = m_pRoot.get();
    } else if (TakesNextMember()) {
        pNode = m_Open.back().pNode->Append(eKind, NextKey(), {});
    }
    m_Open.push_back({pNode, 0, {}});
    return true;
}

bool TreeBuilder::Close()
{
    m_Open.pop_back();
    return true;
}

} // namespace

std::unique_ptr<CJSONObject> ParseJson(std::string_view Text, std::string* pPassed)
{
    if (Text.size() > kMaxJsonBytes) {
        // Only what looks like JSON passes its bounds; a long page for people is just no JSON.
        const std::size_t iFirst = Text.find_first_not_of(" \t\r\n");
        if (pPassed && iFirst != std::string_view::npos && (Text[iFirst] == '{' || Text[iFirst] == '['))
            *pPassed = PassedBound(kMaxJsonBytes, "bytes");
        return nullptr;
    }
    // The parser takes a NUL for the end and would not see what follows; no JSON text has one unescaped.
    if (Text.find('\0') != std::string_view::npos)
        return nullptr;
    TreeBuilder Builder;
    if (!nlohmann::json::sax_parse(Text, &Builder)) {
        if (pPassed && !Builder.Passed().empty())
            *pPassed = Builder.Passed();
        return nullptr;
    }
    return Builder.Take();
}

} // namespace devhost
