// The form of a configuration record as a line of text; what is in a record is Configuration.cpp's.

#include "devhost/framework/record/RecordLine.h"

#include <boost/crc.hpp>
#include <boost/url/encode.hpp>
#include <boost/url/pct_string_view.hpp>
#include <boost/url/rfc/unreserved_chars.hpp>
#include <spdlog/fmt/fmt.h>

#include <charconv>
#include <cstdint>

namespace devhost
{

namespace
{

namespace urls = boost::urls;

std::uint32_t Checksum(std::string_view kind, std::string_view encoded)
{
    boost::crc_32_type crc;
    crc.process_bytes(kind.data(), kind.size());
    crc.process_bytes(encoded.data(), encoded.size());
    return crc.checksum();
}

std::string Encode(std::string_view bytes)
{
    constexpr auto kPlain = urls::unreserved_chars - urls::grammar::lut_chars('~');
    urls::encoding_opts options;
    options.lower_case = true;
    // Into a text that is there: the form that makes its own lets no exception out and would end the host
    // where memory runs out.
    std::string encoded(urls::encoded_size(bytes, kPlain, options), '\0');
    urls::encode(encoded.data(), encoded.size(), bytes, kPlain, options);
    return encoded;
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
    const auto encoded = urls::make_pct_string_view(text);
    return encoded ? std::optional(encoded->decode()) : std::nullopt;
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
    return fmt::format("{} {} {:08x} {}", kind, encoded.size(), Checksum(kind, encoded), encoded);
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
