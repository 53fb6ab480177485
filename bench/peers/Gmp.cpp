#include <gmpxx.h>

#include <algorithm>

#include "bench/Harness.h"

namespace {

using namespace bench;

// Both alphabets are in ASCII order.
constexpr std::string_view kOurs = "123456789ABCDEFGHJKLMNPQRSTUVWXYZabcdefghijkmnopqrstuvwxyz";
constexpr std::string_view kTheirs = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuv";

std::string inTheirs(std::string_view ours) {
    std::string theirs;
    for (const char c : ours)
        theirs += kTheirs[kOurs.find(c)];
    return theirs;
}

bool equalDigits(std::string_view ours, std::string_view theirs) {
    return inTheirs(ours) == theirs;
}

// Only the number: without leading zero bytes, and with digits of another alphabet.
void add() {
    theirs({"GMP (own digits)", "Radix", "base58-encode", equalDigits},
           toArray(twice, [number = mpz_class()](std::string_view in, char* out) mutable {
               mpz_import(number.get_mpz_t(), in.size(), 1, 1, 1, 0, in.data());
               return std::string_view(mpz_get_str(out, 58, number.get_mpz_t())).size();
           }));
    theirs({"GMP (own digits)", "Radix", "base58-decode"},
           toArray(asMuch, [number = mpz_class(), digits = std::string()](std::string_view in,
                                                                          char* out) mutable {
               if (digits.empty()) digits = inTheirs(in);
               mpz_set_str(number.get_mpz_t(), digits.c_str(), 58);
               std::size_t n = 0;
               mpz_export(out, &n, 1, 1, 1, 0, number.get_mpz_t());
               return n;
           }));
}

const Source kSource(add);

}  // namespace
