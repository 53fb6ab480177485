// No text makes the JSON parser or the canonical serialiser read or write out of bounds, and
// exactly the texts that load have a canonical form.
#include "fuzz/Input.h"
#include "support/Json.h"

namespace {

// The name of an array stands before each element, so the form grows with the square of the text.
constexpr unsigned int kLongestCanonicalized = 1 << 15;

// Reads a container's items and the places next to them.
void readItems(const contentcoding::JsonContainer& container, LogBase& log) {
    for (int i = -1; i <= container.get_Size(); ++i) {
        const int type = container.TypeAt(i);
        RefCountedObjectOwner object, array;
        if (ClsJsonObject* const nested = container.ObjectAt(i)) {
            object.take(nested);
            readItems(*nested, log);
        }
        if (ClsJsonArray* const nested = container.ArrayAt(i)) {
            array.take(nested);
            readItems(*nested, log);
        }
        XString text;
        const bool scalar = container.StringAt(i, text);
        expect(!scalar || text.view() == container.valueView(i));
        expect(scalar == (type != contentcoding::kJsonNone && type != contentcoding::kJsonObject &&
                          type != contentcoding::kJsonArray));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    Input input(data, size);
    LogText log;
    if (input.flag()) expect(log.m_options.append("x,itidacanonFIRSTdoc"));
    const HeapCopy path(input.shortText(), HeapCopy::kTerminated);
    const HeapCopy text = input.rest();
    const DataBuffer json({text.bytes(), text.size()});

    ClsJsonObject* const document = ClsJsonObject::createNewCls();
    RefCountedObjectOwner owner, found;
    owner.take(document);
    const bool loaded = document->loadJson(json, log);
    expect(loaded == !document->fault().expected);
    expect(loaded || (document->fault().line > 0 && document->fault().column > 0));
    expect(document->fault().offset <= text.size());
    expect(loaded || document->get_Size() == 0);
    readItems(*document, log);
    found.take(document->objectOf(path.chars(), log));

    if (text.size() > kLongestCanonicalized) return 0;
    log.clear();
    DataBuffer form;
    const bool canonicalized = ContentCoding::canonicalizeItida(json, form, log);
    expect(canonicalized == (log.text().getSize() == 0));
    expect(canonicalized || form.getSize() == 0);
    // Names and values end at their first U+0000.
    expect(viewOf(form).find('\0') == std::string_view::npos);
    // Without the option, or without documents, only a fault stands in the way.
    const bool whole = log.m_options.getSize() == 0 || !document->hasMember("documents", log);
    expect(whole ? canonicalized == loaded : loaded);
    return 0;
}
