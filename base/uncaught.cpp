// SPDX-License-Identifier: MIT
// What nothing caught is told in one line. The C++ library would do so with the unmangled name of
// the type, and what unmangles it is a tenth of this program.
#include <cstdio>
#include <cstdlib>
#include <exception>

namespace __gnu_cxx {

// The library's name for what std::terminate() calls unless told otherwise.
void __verbose_terminate_handler() { // NOLINT
    if (const std::exception_ptr uncaught = std::current_exception()) {
        try {
            std::rethrow_exception(uncaught);
        } catch (const std::exception &error) {
            std::fprintf(stderr, "error: host: ends on an error that nothing caught: %s\n",
                         error.what());
        } catch (...) {
            std::fputs("error: host: ends on an error that nothing caught\n", stderr);
        }
    }
    std::abort();
}

} // namespace __gnu_cxx
