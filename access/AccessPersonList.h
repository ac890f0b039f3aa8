#pragma once
// The access persons of one account, in their order.

#include "access/AccessPerson.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

// Owns its persons. The host thread changes and walks the list; the worker copies what it needs of a person
// under the list's lock, which the host thread takes only for insertions, removals and changes of a person,
// and both only for as long as that takes. Any thread may declare the list dropped: it counts as empty from
// then on, and the host thread frees the persons when it next looks for one or adds one, at the latest in its
// next idle call.
class CAccessPersonList
{
public:
    CAccessPersonList() = default;
    CAccessPersonList(const CAccessPersonList&) = delete;
    CAccessPersonList& operator=(const CAccessPersonList&) = delete;

    // Any thread.

    int IsEmpty() const { return m_bDropped.load() || m_nPersons.load() == 0 ? 1 : 0; }
    void Drop() { m_bDropped.store(true); }

    // Copies of the first person at this index, or with this id (an empty one is nobody's); nothing when
    // there is none.
    std::optional<CAccessPerson> CopyAtIndex(int iIndex) const;
    std::optional<CAccessPerson> CopyWithID(const CQXString& sID) const;

    // Host thread. A pointer is borrowed until the next of these calls.

    void FreeDropped();
    CAccessPerson* AtIndex(int iIndex);              // the first at this index; those without one are skipped
    CAccessPerson* WithID(const CQXString& sID);     // the first; those without an id are skipped
    CAccessPerson* WithName(const CQXString& sName); // the first

    void Append(std::unique_ptr<CAccessPerson> pPerson);

    // Puts an indexed person in front of the first one that has no index or a greater one. False when the
    // list was dropped since the caller last looked; the person stays the caller's then.
    bool InsertByIndex(std::unique_ptr<CAccessPerson>& pPerson);

    void Remove(const CAccessPerson* pPerson); // and deletes it

    const std::vector<std::unique_ptr<CAccessPerson>>& All(); // in order

private:
    using Persons = std::vector<std::unique_ptr<CAccessPerson>>;

    template <class Match>
    CAccessPerson* First(Match Matches) const;
    template <class Match>
    std::optional<CAccessPerson> CopyFirst(Match Matches) const;
    void Insert(Persons::const_iterator Place, std::unique_ptr<CAccessPerson> pPerson);

    mutable std::mutex m_Mutex;
    Persons m_Persons;
    std::atomic<std::size_t> m_nPersons{0}; // of the list, for a look without the lock
    std::atomic<bool> m_bDropped{false};
};
