#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace cloudsim
{

// Members keep their order: readers of the replies take the first match in order.
using Json = nlohmann::ordered_json;

// Serialises without a throw; bytes that are no UTF-8 become the replacement character.
std::string ToText(const Json& value);

// The array of what the function makes of each item.
template <typename Items, typename Make>
Json MakeArray(const Items& items, Make make)
{
    Json list = Json::array();
    for (const auto& item : items)
        list.push_back(make(item));
    return list;
}

// Arrays and objects may be nested this deep. What the routes and fixtures take needs five levels; copying,
// comparing and writing a document recurse, so that an unbounded one would exhaust the stack.
inline constexpr int kMaxJsonDepth = 64;

// A text that is no JSON, or JSON nested too deep. what() goes on from the name of the text, for example
// "is no JSON (line 3, column 7)".
class JsonError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// Parses one JSON document (RFC 8259). Throws JsonError, for a text nested too deep as soon as the first
// bracket beyond kMaxJsonDepth is read.
Json ParseJson(std::string_view text);

// A field of a JSON document that is missing, unknown, of the wrong type or out of range. what() starts with
// the field's path, for example "locks[1].power_level must be a whole number from 0 to 100".
class FieldError : public std::runtime_error
{
public:
    FieldError(std::string code, const std::string& field, const std::string& complaint)
        : std::runtime_error(field + " " + complaint), m_code(std::move(code))
    {
    }

    // "missing_field", "unknown_field", "wrong_type" or "bad_value".
    const std::string& Code() const { return m_code; }

private:
    std::string m_code;
};

// Reads the members of one JSON object strictly: each read names the member, its type and its range, and
// Finish refuses members that nobody asked for. Every operation throws FieldError. The object is borrowed.
class ObjectReader
{
public:
    // path names the object in complaints; the document itself has an empty path.
    ObjectReader(const Json& object, std::string path);

    bool Has(std::string_view key) const { return m_object.contains(key); }
    std::string Path(std::string_view key) const;

    std::string Text(std::string_view key);
    // Absent and null are the same.
    std::optional<std::string> OptionalText(std::string_view key);
    std::int64_t Integer(std::string_view key, std::int64_t least, std::int64_t most);
    std::int64_t Integer(std::string_view key, std::int64_t least, std::int64_t most, std::int64_t absent);
    bool Boolean(std::string_view key);
    bool Boolean(std::string_view key, bool absent);
    ObjectReader Object(std::string_view key);
    const Json& Array(std::string_view key);

    // Refuses members that were not read.
    void Finish() const;

private:
    const Json& Required(std::string_view key);

    const Json& m_object;
    std::string m_path;
    std::set<std::string, std::less<>> m_read;
};

} // namespace cloudsim
