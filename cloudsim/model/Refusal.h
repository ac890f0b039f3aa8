#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace cloudsim
{

// A request that is not carried out: thrown where the fault is found, turned into an error reply by Cloud.
// what() is the text for the caller; it names what is wrong and never quotes a secret.
class Refusal : public std::runtime_error
{
public:
    Refusal(int status, std::string errorcode, const std::string& message)
        : std::runtime_error(message), m_status(status), m_errorcode(std::move(errorcode))
    {
    }

    int Status() const { return m_status; }
    const std::string& Errorcode() const { return m_errorcode; }

private:
    int m_status;
    std::string m_errorcode;
};

} // namespace cloudsim
