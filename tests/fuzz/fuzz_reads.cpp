// core-config's reader of what a game has read: the journal of libcorewatch.so, in which a game can have written anything.
//
// An input is a schema, a NUL, and the bytes of a journal after its head. What is learnt from it is a schema that is read
// again as the same schema.
#include "tools/core-config/complaints.h"
#include "tools/core-config/learn.h"

#include <algorithm>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

static std::string journalOf(const std::string& records)
{
    watch::JournalHead head = {};
    memcpy(head.mark, watch::sc_journalMark, sizeof(head.mark));
    head.version = watch::sc_journalVersion;
    std::string bytes(reinterpret_cast<const char*>(&head), sizeof(head));
    bytes += records;
    bytes.resize((bytes.size() / watch::sc_journalChunk + 1) * watch::sc_journalChunk);
    return bytes;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string text = input.c_str();
    const std::string records = input.substr(std::min(text.size() + 1, input.size()));

    config::GameReads reads;
    config::Complaints complaints;
    reads.add(readJournal(journalOf(records.substr(0, records.size() / 2)))); // in the middle of a run
    complaints.next(reads);
    reads.add(readJournal(journalOf(records)));
    for (const Finding& finding : complaints.next(reads)) {
        if (finding.line == 0 || finding.column == 0 || finding.what.empty()) {
            abort();
        }
    }
    config::Schema schema;
    config::Schema again;
    std::string error;
    if (!config::readSchema(text, &schema, &error)) {
        schema = config::Schema();
    }
    config::learn(reads, &schema);
    const std::string written = config::writeSchema(schema);
    if (!config::readSchema(written, &again, &error) || config::writeSchema(again) != written) {
        abort();
    }
    return 0;
}
