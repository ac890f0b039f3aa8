// Parses JSON of bounded depth and reads its objects strictly, with complaints that name the place; rules
// between fields are left to the callers.
#include "cloudsim/model/Json.h"

#include <algorithm>

namespace cloudsim
{
namespace
{

// Where a parser stopped that has read the given number of bytes, the last of them being the wrong one.
std::string Place(std::string_view text, std::size_t bytesRead)
{
    const std::string_view before = text.substr(0, bytesRead > 0 ? bytesRead - 1 : 0);
    const auto line = std::ranges::count(before, '\n') + 1;
    const auto column = before.size() - (before.rfind('\n') + 1) + 1; // npos + 1 is 0
    return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

} // namespace

Json ParseJson(std::string_view text)
{
    using Event = Json::parse_event_t;
    const auto boundDepth = [](int depth, Event event, Json&) {
        if (depth >= kMaxJsonDepth && (event == Event::object_start || event == Event::array_start))
            throw JsonError("is nested deeper than " + std::to_string(kMaxJsonDepth) + " levels");
        return true;
    };
    try {
        return Json::parse(text, boundDepth);
    } catch (const Json::exception& error) {
        const auto* where = dynamic_cast<const Json::parse_error*>(&error);
        throw JsonError("is no JSON" + (where ? " (" + Place(text, where->byte) + ")" : ""));
    }
}

std::string ToText(const Json& value)
{
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

ObjectReader::ObjectReader(const Json& object, std::string path) : m_object(object), m_path(std::move(path))
{
    if (!object.is_object())
        throw FieldError("wrong_type", m_path.empty() ? "the document" : m_path, "must be an object");
}

std::string ObjectReader::Path(std::string_view key) const
{
    // A key comes from outside, so a long one is shortened before it is quoted.
    const std::string name(key.substr(0, 64));
    return m_path.empty() ? name : m_path + "." + name;
}

const Json& ObjectReader::Required(std::string_view key)
{
    m_read.emplace(key);
    const auto member = m_object.find(key);
    if (member == m_object.end())
        throw FieldError("missing_field", Path(key), "is missing");
    return *member;
}

std::string ObjectReader::Text(std::string_view key)
{
    const Json& value = Required(key);
    if (!value.is_string())
        throw FieldError("wrong_type", Path(key), "must be a text");
    return value.get<std::string>();
}

std::optional<std::string> ObjectReader::OptionalText(std::string_view key)
{
    m_read.emplace(key);
    if (!Has(key) || m_object.at(std::string(key)).is_null())
        return std::nullopt;
    return Text(key);
}

std::int64_t ObjectReader::Integer(std::string_view key, std::int64_t least, std::int64_t most)
{
    const Json& value = Required(key);
    const std::string complaint =
        "must be a whole number from " + std::to_string(least) + " to " + std::to_string(most);
    if (!value.is_number_integer())
        throw FieldError("wrong_type", Path(key), complaint);
    // A number above the signed range would change its sign in the conversion.
    const bool huge = value.is_number_unsigned() && value.get<std::uint64_t>() > INT64_MAX;
    const auto number = value.get<std::int64_t>();
    if (huge || number < least || number > most)
        throw FieldError("bad_value", Path(key), complaint);
    return number;
}

std::int64_t ObjectReader::Integer(std::string_view key, std::int64_t least, std::int64_t most,
                                   std::int64_t absent)
{
    return Has(key) ? Integer(key, least, most) : absent;
}

bool ObjectReader::Boolean(std::string_view key)
{
    const Json& value = Required(key);
    if (!value.is_boolean())
        throw FieldError("wrong_type", Path(key), "must be true or false");
    return value.get<bool>();
}

bool ObjectReader::Boolean(std::string_view key, bool absent)
{
    return Has(key) ? Boolean(key) : absent;
}

ObjectReader ObjectReader::Object(std::string_view key)
{
    return {Required(key), Path(key)};
}

const Json& ObjectReader::Array(std::string_view key)
{
    const Json& value = Required(key);
    if (!value.is_array())
        throw FieldError("wrong_type", Path(key), "must be an array");
    return value;
}

void ObjectReader::Finish() const
{
    for (const auto& member : m_object.items()) {
        if (!m_read.contains(member.key()))
            throw FieldError("unknown_field", Path(member.key()), "is not known here");
    }
}

} // namespace cloudsim
