// The reader of snapshot files, and all that works on what it reads.
#include "watch/sizefile.h"
#include "watch/summary.h"

#include "tests/fuzz/observe.h"

#include <stdlib.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    watch::Snapshot snapshot;
    std::string error;
    for (const watch::SizeLine& line : watch::readSizeFile(text, nullptr)) {
        observeText(line.name);
        observeNumber(line.size);
        observeText(line.remark);
    }
    if (!watch::readSnapshot(text, &snapshot, &error)) {
        observeText(error);
        return error.empty() ? abort(), 1 : 0; // each refusal has a reason
    }
    watch::readSizeFile(text, &snapshot);
    watch::sumPlaces(snapshot);
    for (const watch::Bank& bank : snapshot.banks) {
        watch::sumBank(bank).fragmentation();
        observeNumber(watch::tunedSize(bank.size, bank.peakBytes));
    }
    for (const watch::Damage& damage : snapshot.damages) {
        observeText(watch::describeDamage(snapshot, damage));
    }
    const std::string written = watch::writeSnapshot(snapshot);
    observeText(written);
    watch::Snapshot again;
    if (!watch::readSnapshot(written, &again, &error) || watch::writeSnapshot(again) != written) {
        abort();
    }
    return 0;
}
