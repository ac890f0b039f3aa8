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
    Membership(std::set<T*>& Members, T* pMember) : m_Members(Members), m_pMember(pMember)
    {
        m_Members.insert(m_pMember);
    }
    ~Membership() { m_Members.erase(m_pMember); }
    Membership(const Membership&) = delete;
    Membership& operator=(const Membership&) = delete;

private:
    std::set<T*>& m_Members;
    T* m_pMember;
};

} // namespace devhost
