#include "library.h"

#include "kelvane/kelvane.h"

#include <new>
#include <stdexcept>
#include <string>

void checkResult(long code, const char* function) {
    if (code == ERR_NO_MEMORY)
        throw std::bad_alloc();
    if (code != ERR_NONE)
        throw std::logic_error(std::string(function) + " returned " + std::to_string(code));
}
