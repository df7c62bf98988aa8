#include "shell/list_items_command.h"

#include <cstdio>

namespace wharf {

int runListItems(int /*argc*/, char** /*argv*/)
{
    std::fputs("wharf: --list-items is not available yet\n", stderr);
    return 1;
}

} // namespace wharf
