#include <unicode/ucnv.h>

#include "bench/Harness.h"

namespace {

using namespace bench;

void add() {
    for (const char* workload :
         {"charset-utf-8", "charset-ISO-8859-1", "charset-windows-1251", "charset-Shift_JIS"})
        theirs({"ICU (standard name)", "MimeWords", workload, notComparable},
               [](std::string_view in) {
                   UErrorCode error = U_ZERO_ERROR;
                   return std::string_view(ucnv_getStandardName(in.data(), "IANA", &error));
               });
}

const Source kSource(add);

}  // namespace
