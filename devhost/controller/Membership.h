#pragma once
// Membership of a set for the length of a scope.

#include <set>

namespace devhost
{

/// Keeps a pointer in a set as long as the object lives. The set outlives it.
template <class T>
class Membership
{
public:
    Membership(std::set<T*>& members, T* member) : m_members(members), m_member(member)
    {
        m_members.insert(m_member);
    }
    ~Membership() { m_members.erase(m_member); }
    Membership(const Membership&) = delete;
    Membership& operator=(const Membership&) = delete;

private:
    std::set<T*>& m_members;
    T* m_member;
};

} // namespace devhost
