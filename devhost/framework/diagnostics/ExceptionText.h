#pragma once
// Words for whatever was thrown.

#include <exception>
#include <string>

namespace devhost
{

/// What the exception that is being handled says of itself; a library may throw anything. Inside a handler
/// only. Its type may live in that library, so the text, and not the exception, goes on to where the library
/// is gone.
inline std::string ExceptionText()
{
    try {
        throw;
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "an exception of an unknown type";
    }
}

} // namespace devhost
