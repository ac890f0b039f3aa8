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

std::uint32_t Checksum(std::string_view Kind, std::string_view Encoded)
{
    boost::crc_32_type Crc;
    Crc.process_bytes(Kind.data(), Kind.size());
    Crc.process_bytes(Encoded.data(), Encoded.size());
    return Crc.checksum();
}

bool IsPlain(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_';
}

std::string Encode(std::string_view Bytes)
{
    static constexpr char kHex[] = "0123456789abcdef";
    std::string Out;
    for (char c : Bytes) {
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
std::optional<T> ParseNumber(std::string_view Text, int Base)
{
    T Value{};
    const auto [pEnd, Error] = std::from_chars(Text.data(), Text.data() + Text.size(), Value, Base);
    if (Error != std::errc() || pEnd != Text.data() + Text.size())
        return std::nullopt;
    return Value;
}

std::optional<std::string> Decode(std::string_view Text)
{
    std::string Out;
    for (std::size_t i = 0; i < Text.size(); ++i) {
        if (Text[i] != '%') {
            Out += Text[i];
            continue;
        }
        const auto Byte = ParseNumber<unsigned>(Text.substr(i + 1, 2), 16);
        if (!Byte || i + 2 >= Text.size())
            return std::nullopt;
        Out += static_cast<char>(*Byte);
        i += 2;
    }
    return Out;
}

// The text up to the next blank, which is taken off with it.
std::string_view TakeWord(std::string_view& Text)
{
    const std::size_t End = Text.find(' ');
    const std::string_view Word = Text.substr(0, End);
    Text.remove_prefix(End == std::string_view::npos ? Text.size() : End + 1);
    return Word;
}

} // namespace

std::string RecordLine::Format() const
{
    const std::string Encoded = Encode(Bytes);
    std::array<char, 16> Sum{};
    std::snprintf(Sum.data(), Sum.size(), "%08x", Checksum(Kind, Encoded));
    return Kind + " " + std::to_string(Encoded.size()) + " " + Sum.data() + " " + Encoded;
}

std::optional<RecordLine> RecordLine::Parse(std::string_view Line)
{
    const std::string_view Kind = TakeWord(Line);
    const auto Length = ParseNumber<std::size_t>(TakeWord(Line), 10);
    const auto Sum = ParseNumber<std::uint32_t>(TakeWord(Line), 16);
    if (Kind.empty() || !Length || !Sum || Line.size() != *Length || Checksum(Kind, Line) != *Sum)
        return std::nullopt;
    auto Bytes = Decode(Line);
    if (!Bytes)
        return std::nullopt;
    return RecordLine{std::string(Kind), std::move(*Bytes)};
}

} // namespace devhost
