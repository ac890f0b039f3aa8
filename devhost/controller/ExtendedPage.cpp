// Reads the pages of interfaces and locks out of their messages.

#include "devhost/controller/ExtendedPage.h"

#include <algorithm>

namespace devhost
{

namespace
{

class ItemReader
{
public:
    explicit ItemReader(const std::vector<CQXMSG::Item>& items) : m_items(items) {}

    bool Take(int* value)
    {
        const int* item = m_next < m_items.size() ? std::get_if<int>(&m_items[m_next]) : nullptr;
        if (!item)
            return false;
        *value = *item;
        ++m_next;
        return true;
    }
    bool Take(std::string* value)
    {
        const auto* item = m_next < m_items.size() ? std::get_if<CQXString>(&m_items[m_next]) : nullptr;
        if (!item)
            return false;
        *value = static_cast<char*>(*item);
        ++m_next;
        return true;
    }
    bool AtEnd() const { return m_next == m_items.size(); }

private:
    const std::vector<CQXMSG::Item>& m_items;
    std::size_t m_next = 0;
};

} // namespace

std::optional<ExtendedPage> ExtendedPage::Read(const CQXMSG& message)
{
    ItemReader items(message.Items());
    ExtendedPage page;
    int header = 0;
    int reserved = 0;
    if (!items.Take(&header) || header != kHeader || !items.Take(&reserved) || !items.Take(&page.label) ||
        !items.Take(&page.selected) || !items.Take(&page.count))
        return std::nullopt;
    for (std::string choice; items.Take(&choice);)
        page.choices.push_back(choice);
    if (!items.Take(&page.flags) || !items.AtEnd())
        return std::nullopt;
    return page;
}

std::optional<LockPage> LockPage::Read(const CQXMSG& message)
{
    ItemReader items(message.Items());
    LockPage page;
    int kinds = 0;
    if (!items.Take(&kinds))
        return std::nullopt;
    while (!items.AtEnd()) {
        Row next;
        std::string value;
        int selected = 0;
        int entries = 0;
        if (!items.Take(&next.label))
            return std::nullopt;
        if (!items.Take(&next.text)) {
            if (!items.Take(&selected) || !items.Take(&entries))
                return std::nullopt;
            for (int i = 0; i < entries; ++i) {
                if (!items.Take(&value))
                    return std::nullopt;
                next.entries.push_back(value);
            }
            next.selected = selected;
        }
        page.rows.push_back(std::move(next));
    }
    return page;
}

const LockPage::Row* LockPage::Find(std::string_view label) const
{
    const auto found = std::ranges::find(rows, label, &Row::label);
    return found == rows.end() ? nullptr : &*found;
}

} // namespace devhost
