#include "watch/faulttext.h"

namespace watch {

static std::string bankOf(const Snapshot& snapshot, int index)
{
    const Bank* bank = snapshot.bankOf(index);
    if (index == -1) {
        return "the system bank";
    }
    return bank ? "bank \"" + bank->name + "\"" : "bank " + std::to_string(index);
}

std::string faultOf(const Snapshot& snapshot, const Damage& damage)
{
    std::string text = "fault: damage: " + bankOf(snapshot, damage.bank);
    if (damage.offset != sc_noNumber) {
        text += ", the header at " + std::to_string(damage.offset);
    } else if (damage.fallback != sc_noNumber) {
        text += ", fallback block " + std::to_string(damage.fallback);
    }
    text += ": " + damage.what + "\n";
    const std::pair<const char*, const std::string&> blocks[] = {{"the damaged block", damage.block},
                                                                 {"the block before it", damage.before},
                                                                 {"the block after it", damage.after}};
    for (const auto& block : blocks) {
        text += block.second.empty() ? "" : std::string("  ") + block.first + ": " + block.second + "\n";
    }
    return text;
}

} // namespace watch
