#pragma once

// Throws std::bad_alloc for ERR_NO_MEMORY and std::logic_error for any other failure: what the
// user gave has been checked before the library is called.
void checkResult(long code, const char* function);
