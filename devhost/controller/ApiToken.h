#pragma once
// The token of one start, for a machine with several users.

#include "devhost/controller/RequestGuard.h"

#include <filesystem>
#include <string>

namespace devhost
{

/// Makes a token and keeps it in a file that only its owner can read, as long as the object lives. One that
/// an earlier start has left is replaced, or removed when no token is wanted.
class ApiToken
{
public:
    /// @param wanted false: there is no token. @throws std::runtime_error when the file cannot be written.
    ApiToken(std::filesystem::path file, bool wanted);
    ~ApiToken();
    ApiToken(const ApiToken&) = delete;
    ApiToken& operator=(const ApiToken&) = delete;

    WantedToken Wanted() const { return {m_token, m_file.string()}; }
    const std::string& Text() const { return m_token; } ///< empty: there is none

private:
    std::filesystem::path m_file;
    std::string m_token;
};

} // namespace devhost
