// The form of a configuration record as a line of text; what is in a record is Configuration.cpp's.

#include "devhost/framework/record/RecordLine.h"

#include <boost/crc.hpp>

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>

namespace devhost
{

namespace
{

std::uint32_t Checksum(std::string_view kind, std::string_view encoded)
{
    boost::crc_32_type crc;
    crc.process_bytes(kind.data(), kind.size());
    crc.process_bytes(encoded.data(), encoded.size());
    return crc.checksum();
}

bool IsPlain(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_';
}

std::string Encode(std::string_view bytes)
{
    static constexpr char kHex[] = "0123456789abcdef";
    std::string Out;
    for (char c : bytes) {
        if (IsPlain(c)) {
            Out += c;
            continue;
        }
        const auto Byte = static_cast<unsigned char>(c);
        Out += {'%', kHex[Byte >> 4], kHex[Byte & 15]};
    }
    return Out;
}

template <class T>
std::optional<T> ParseNumber(std::string_view text, int base)
{
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

std::optional<std::string> Decode(std::string_view text)
{
    std::string Out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            Out += text[i];
            continue;
        }
        const auto Byte = ParseNumber<unsigned>(text.substr(i + 1, 2), 16);
        if (!Byte || i + 2 >= text.size())
            return std::nullopt;
        Out += static_cast<char>(*Byte);
        i += 2;
    }
    return Out;
}

// The text up to the next blank, which is taken off with it.
std::string_view TakeWord(std::string_view& text)
{
    const std::size_t end = text.find(' ');
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return word;
}

} // namespace

std::string RecordLine::Format() const
{
    const std::string encoded = Encode(bytes);
    std::array<char, 16> sum{};
    std::snprintf(sum.data(), sum.size(), "%08x", Checksum(kind, encoded));
    return kind + " " + std::to_string(encoded.size()) + " " + sum.data() + " " + encoded;
}

std::optional<RecordLine> RecordLine::Parse(std::string_view line)
{
    const std::string_view kind = TakeWord(line);
    const auto length = ParseNumber<std::size_t>(TakeWord(line), 10);
    const auto sum = ParseNumber<std::uint32_t>(TakeWord(line), 16);
    if (kind.empty() || !length || !sum || line.size() != *length || Checksum(kind, line) != *sum)
        return std::nullopt;
    auto bytes = Decode(line);
    if (!bytes)
        return std::nullopt;
    return RecordLine{std::string(kind), std::move(*bytes)};
}

} // namespace devhost
