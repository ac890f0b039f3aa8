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

std::string WithoutNul(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    for (std::size_t start = 0;;) {
        const std::size_t nul = text.find('\0', start);
        result += text.substr(start, nul - start);
        if (nul == std::string_view::npos)
            return result;
        result += kReplacement;
        start = nul + 1;
    }
}

std::string PassedBound(std::size_t bound, const char* what)
{
    return "more than " + std::to_string(bound) + " " + what;
}

// Receives the parser's events; an event that returns false ends the parse.
class TreeBuilder
{
public:
    using Json = nlohmann::json;
    using Node = CJSONObject;

    bool null() { return AddScalar(Node::KIND_NULL, "null"); }
    bool boolean(bool value) { return AddScalar(Node::KIND_BOOLEAN, value ? "true" : "false"); }
    // The only integer that does not print as it was written is the negative zero.
    bool number_integer(Json::number_integer_t value)
    {
        return AddScalar(Node::KIND_NUMBER, value == 0 ? "-0" : std::to_string(value));
    }
    bool number_unsigned(Json::number_unsigned_t value)
    {
        return AddScalar(Node::KIND_NUMBER, std::to_string(value));
    }
    bool number_float(Json::number_float_t, const std::string& written)
    {
        return AddScalar(Node::KIND_NUMBER, written);
    }
    bool string(const std::string& value)
    {
        if (value.find('\0') != std::string::npos)
            return AddScalar(Node::KIND_STRING, WithoutNul(value));
        return AddScalar(Node::KIND_STRING, value);
    }
    bool binary(const Json::binary_t&) { return false; }
    bool key(const std::string& key)
    {
        m_key = key;
        if (key.find('\0') != std::string::npos)
            m_key = WithoutNul(key);
        return true;
    }
    bool start_object(std::size_t) { return Open(Node::KIND_OBJECT); }
    bool start_array(std::size_t) { return Open(Node::KIND_ARRAY); }
    bool end_object() { return Close(); }
    bool end_array() { return Close(); }
    bool parse_error(std::size_t, const std::string&, const Json::exception&) { return false; }

    std::unique_ptr<Node> Take() { return std::move(m_root); }
    // The bound that ended the parse, for people; empty when another fault did.
    const std::string& Passed() const { return m_passed; }

private:
    // An open object or array. pNode is null inside a member that repeats a key: its events are only counted.
    struct Level {
        Node* node;
        std::size_t childCount = 0;
        std::unordered_set<std::string_view> keys; // used once comparing with every member would be slow
    };

    bool AddScalar(Node::KIND kind, std::string_view text);
    bool Open(Node::KIND kind);
    bool Close();
    bool Count();
    bool Pass(std::size_t bound, const char* what);
    bool TakesNextMember();
    // What the value that comes now is called in the node that takes it; an array's elements have no names.
    std::string_view NextKey() const
    {
        return m_open.back().node->Kind() == Node::KIND_ARRAY ? std::string_view() : m_key;
    }

    static constexpr int kFewMembers = 16;

    std::unique_ptr<Node> m_root;
    std::vector<Level> m_open;
    std::string m_key;
    std::size_t m_valueCount = 0;
    std::string m_passed;
};

bool TreeBuilder::Pass(std::size_t bound, const char* what)
{
    m_passed = PassedBound(bound, what);
    return false;
}

// Counts the value that comes now; false when it is one too many.
bool TreeBuilder::Count()
{
    if (++m_valueCount > kMaxJsonValues)
        return Pass(kMaxJsonValues, "values");
    if (!m_open.empty() && ++m_open.back().childCount > kMaxJsonChildren)
        return Pass(kMaxJsonChildren, "members or elements in one object or array");
    return true;
}

// Whether the value that comes now is kept: not inside or under a key that was there before.
bool TreeBuilder::TakesNextMember()
{
    Level& parent = m_open.back();
    if (!parent.node)
        return false;
    if (parent.node->Kind() == Node::KIND_ARRAY)
        return true;
    const int memberCount = parent.node->NObjects();
    if (memberCount < kFewMembers) {
        for (int i = 0; i < memberCount; ++i) {
            if (parent.node->Object(i)->Key() == m_key)
                return false;
        }
        return true;
    }
    // The set views the keys of the nodes, which stay where they are.
    for (int i = static_cast<int>(parent.keys.size()); i < memberCount; ++i)
        parent.keys.insert(parent.node->Object(i)->Key());
    return !parent.keys.contains(m_key);
}

bool TreeBuilder::AddScalar(Node::KIND kind, std::string_view text)
{
    if (!Count())
        return false;
    if (m_open.empty()) {
        Node holder(Node::KIND_ARRAY);
        m_root.reset(holder.Append(kind, {}, text)->CreateCopy());
    } else if (TakesNextMember()) {
        m_open.back().node->Append(kind, NextKey(), text);
    }
    return true;
}

bool TreeBuilder::Open(Node::KIND kind)
{
    if (!Count())
        return false;
    if (m_open.size() == kMaxJsonDepth)
        return Pass(kMaxJsonDepth, "levels");
    Node* node = nullptr;
    if (m_open.empty()) {
        m_root = std::make_unique<Node>(kind);
        node = m_root.get();
    } else if (TakesNextMember()) {
        node = m_open.back().node->Append(kind, NextKey(), {});
    }
    m_open.push_back({node, 0, {}});
    return true;
}

bool TreeBuilder::Close()
{
    m_open.pop_back();
    return true;
}

} // namespace

std::unique_ptr<CJSONObject> ParseJson(std::string_view text, std::string* passed)
{
    if (text.size() > kMaxJsonBytes) {
        // Only what looks like JSON passes its bounds; a long page for people is just no JSON.
        const std::size_t firstIndex = text.find_first_not_of(" \t\r\n");
        if (passed && firstIndex != std::string_view::npos &&
            (text[firstIndex] == '{' || text[firstIndex] == '['))
            *passed = PassedBound(kMaxJsonBytes, "bytes");
        return nullptr;
    }
    // The parser takes a NUL for the end and would not see what follows; no JSON text has one unescaped.
    if (text.find('\0') != std::string_view::npos)
        return nullptr;
    TreeBuilder builder;
    if (!nlohmann::json::sax_parse(text, &builder)) {
        if (passed && !builder.Passed().empty())
            *passed = builder.Passed();
        return nullptr;
    }
    return builder.Take();
}

} // namespace devhost
