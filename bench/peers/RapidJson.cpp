#ifdef __SSE2__
#define RAPIDJSON_SSE2
#endif
#include <rapidjson/reader.h>

#include "bench/Harness.h"

namespace {

using namespace bench;

// Reads every value and keeps none.
void add() {
    theirs({"RapidJSON (SAX pass only)", "Itida", "canonicalize", notComparable},
           [](std::string_view in) {
               rapidjson::StringStream json(in.data());
               rapidjson::BaseReaderHandler<> nothing;
               return rapidjson::Reader().Parse(json, nothing).IsError() ? std::string_view() : in;
           });
}

const Source kSource(add);

}  // namespace
