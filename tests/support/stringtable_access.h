// The fields of a string table, as a debugger would show them: an explicit instantiation may name private members.
#pragma once

#include "core/hashtable.h"
#include "core/stringtable.h"

template <typename Tag, typename Tag::Type FIELD>
struct Opened {
    friend typename Tag::Type fieldOf(Tag) { return FIELD; }
};

#define OPEN_FIELD(name, type)                                                                                       \
    struct Tag_##name {                                                                                              \
        typedef type StringTable::*Type;                                                                             \
        friend Type fieldOf(Tag_##name);                                                                             \
    };                                                                                                               \
    template struct Opened<Tag_##name, &StringTable::name>;                                                          \
    inline auto& name##Of(StringTable& table)                                                                        \
    {                                                                                                                \
        return table.*fieldOf(Tag_##name());                                                                         \
    }

typedef char StringTableText[128];
OPEN_FIELD(m_loaded, int)
OPEN_FIELD(m_spare, StringTableText)
OPEN_FIELD(m_language, StringTableText)
OPEN_FIELD(m_table, HashTable<_StringTableNode_s>*)

struct TagExport {
    typedef void (StringTable::*Type)();
    friend Type fieldOf(TagExport);
};
template struct Opened<TagExport, &StringTable::_exportStringTable>;

// Writes the table's texts to the strings file, as the destructor of a table does that has opened no strings file.
inline void exportTable(StringTable& table)
{
    (table.*fieldOf(TagExport()))();
}
