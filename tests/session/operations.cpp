// Prints the command lines of the tool that send a request to the broker, without the tool's name,
// one per line.

#include "operations.h"

#include <cstdio>

int main() {
    for (const qx::test::OperationCall& call : qx::test::operation_calls()) {
        if (!call.asks_broker) {
            continue;
        }
        for (const std::string& word : call.words()) {
            std::printf("%s ", word.c_str());
        }
        std::puts("");
    }
    return 0;
}
