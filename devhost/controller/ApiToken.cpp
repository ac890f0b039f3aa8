// Makes the token of one start and keeps it in its file. Who must show it is RequestGuard.cpp's.

#include "devhost/controller/ApiToken.h"

#include "devhost/framework/record/Store.h"
#include "devhost/framework/values/RandomText.h"

#include <stdexcept>
#include <system_error>
#include <utility>

namespace devhost
{

ApiToken::ApiToken(std::filesystem::path file, bool wanted) : m_file(std::move(file))
{
    std::error_code ignored;
    std::filesystem::remove(m_file, ignored);
    if (!wanted)
        return;
    m_token = RandomText();
    if (const std::string error = FileStore(m_file).Save(m_token + "\n"); !error.empty())
        throw std::runtime_error("--api-token: " + error);
}

ApiToken::~ApiToken()
{
    std::error_code ignored;
    std::filesystem::remove(m_file, ignored);
}

} // namespace devhost
