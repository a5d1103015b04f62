// core-strings pseudo: a strings file that shows which places of a game are translated, and which are too narrow.
#include "tools/core-strings/commands.h"
#include "tools/core-strings/pseudo.h"

int runPseudo(const PseudoOptions& options)
{
    Document document;
    if (const int status = loadDocument(options.file, &document)) {
        return status;
    }
    for (Item& item : document.items) {
        if (item.kind != ITEM_OBSOLETE) {
            item.kind = ITEM_ENTRY;
            item.translation = pseudoTranslation(item.key);
        }
    }
    return saveFile(options.output, writeDocument(document));
}
