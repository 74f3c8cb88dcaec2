// SPDX-License-Identifier: Apache-2.0
// tests/abi/print_shm_layout.cpp - prints docs/shm-layout.md from the records as this build has them.
#include <cstdio>
#include <string_view>

#include "shmfifo.h"

int main()
{
    std::printf("# Layout of the shared memory of a stream FIFO\n\n"
                "Printed by `print_shm_layout`, built with the tests; not to be edited. `script/test` "
                "compares the page "
                "of a\n64-bit build (docs/shm-layout-64.md) and of the 32-bit builds (docs/shm-layout.md) "
                "with what is "
                "printed.\n\nThis is the layout of a %d-bit process. Keys: the header under K, slot i under "
                "K + 1 + i.\n",
                static_cast<int>(sizeof(void*) * 8));
    ShmLayout::ForEachField([record = std::string_view()](const char* type, const char* field,
                                                          std::size_t offset, std::size_t size) mutable {
        if (record != type) {
            std::printf("\n## %s\n\n| Offset | Size | Field |\n|---|---|---|\n", type);
            record = type;
        }
        if (std::string_view(field) == "(all)") {
            std::printf("\nLength: 0x%zX (%zu) bytes.\n", size, size);
        } else {
            std::printf("| 0x%03zX | %zu | `%s` |\n", offset, size, field);
        }
    });
    return 0;
}
