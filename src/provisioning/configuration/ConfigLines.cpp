#include "provisioning/configuration/ConfigLines.h"

#include <cstring>

namespace zel {

bool IsEmptyLine(const char* line) {
    return std::strchr("\r\t\n ", *line) != nullptr;  // the terminating zero is one of them
}

void CutLineEnd(char* line) {
    line[std::strcspn(line, "\n")] = '\0';
    line[std::strcspn(line, "\r")] = '\0';
}

}  // namespace zel
