// The formats with escapes: quoted-printable, its DKIM form, and the text of Q words.
#include "bench/Harness.h"
#include "bench/Inputs.h"

namespace {

using namespace bench;

// An array that a conversion handed over; released by the next one.
template <class Convert>
auto toNewArray(Convert convert) {
    using Array =
        std::remove_pointer_t<std::invoke_result_t<Convert, std::string_view, unsigned int*>>;
    return [convert, out = std::shared_ptr<Array[]>()](std::string_view in) mutable {
        unsigned int n = 0;
        out.reset(convert(in, &n));
        return std::string_view(reinterpret_cast<const char*>(out.get()), n);
    };
}

// The encoder's text for `prose`, as much as there is room for.
template <class Work>
MakeInput encoded(const Prose& prose, Work work) {
    return [prose, work](std::size_t size) mutable {
        return upTo(size, std::string(work(prose.make(size))));
    };
}

template <class Encode, class Decode>
void bothWays(const std::string& form, Encode encode, Decode decode) {
    for (const Prose& prose : proses()) {
        ours({"QuotedPrintable", form + "-encode-" + prose.name, prose.make}, encode);
        ours({"QuotedPrintable", form + "-decode-" + prose.name, encoded(prose, encode)}, decode);
    }
}

void add() {
    bothWays("qp", toText([](std::string_view in, StringBuffer& out) {
                 return ContentCoding().encodeQuotedPrintable(in.data(), size32(in), out);
             }),
             toBytes([](std::string_view in, DataBuffer& out) {
                 return ContentCoding().decodeQuotedPrintable(in.data(), size32(in), out);
             }));
    bothWays("dkim", toText([](std::string_view in, StringBuffer& out) {
                 return ContentCoding().encodeDkimQuotedPrintable(in.data(), size32(in), out);
             }),
             toBytes([](std::string_view in, DataBuffer& out) {
                 return ContentCoding::decodeDkimQuotedPrintable(in.data(), size32(in), out);
             }));
    bothWays("q", toNewArray([](std::string_view in, unsigned int* n) {
                 return ContentCoding().Q_Encode(in.data(), size32(in), n);
             }),
             toNewArray([](std::string_view in, unsigned int* n) {
                 return ContentCoding::Q_Decode(in.data(), size32(in), n);
             }));
}

const Source kSource(add);

}  // namespace
