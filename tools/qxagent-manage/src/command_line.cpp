#include "command_line.h"

namespace qx::manage {

Owner owner(Operation operation) {
    return cl::subcommandname(row_of(operation).word);
}

cl::valuelist_struct<Operation> operation_words() {
    cl::valuelist_struct<Operation> words;
    words.entries.reserve(operations().size());
    for (const OperationRow& row : operations()) {
        words.add_entry(row.operation, row.word, row.help);
    }
    return words;
}

} // namespace qx::manage
