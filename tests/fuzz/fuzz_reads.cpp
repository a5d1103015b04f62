// core-config's reader of what a game has read: the journal of libcorewatch.so, in which a game can have written anything.
//
// An input is a schema, a NUL, and the records of a journal. What is learnt from it is a schema that is read
// again as the same schema.
#include "tools/core-config/complaints.h"
#include "tools/core-config/learn.h"

#include "tests/fuzz/observe.h"

#include <algorithm>
#include <stdlib.h>

// Each record: its kind, two bytes for its length, its bytes.
static JournalContent contentOf(const std::string& records)
{
    JournalContent content;
    for (size_t at = 0; at + 3 <= records.size();) {
        const uint32_t kind = records[at] & 1 ? watch::JOURNAL_PREFERENCE : watch::JOURNAL_READS;
        const size_t length =
            static_cast<unsigned char>(records[at + 1]) + 256u * static_cast<unsigned char>(records[at + 2]);
        content.events.push_back({kind, 1, 77, records.substr(at + 3, length)});
        at += 3 + length;
    }
    return content;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string text = input.c_str();
    const std::string records = input.substr(std::min(text.size() + 1, input.size()));

    config::GameReads reads;
    config::Complaints complaints;
    reads.add(contentOf(records.substr(0, records.size() / 2))); // in the middle of a run
    complaints.next(reads);
    reads.add(contentOf(records));
    for (const Finding& finding : complaints.next(reads)) {
        observeText(finding.what);
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
    observeText(written);
    if (!config::readSchema(written, &again, &error) || config::writeSchema(again) != written) {
        abort();
    }
    return 0;
}
