#ifndef TESTS_TRUST_OPERATIONS_H
#define TESTS_TRUST_OPERATIONS_H

#include <functional>
#include <vector>

#include "support/Charset.h"
#include "support/Json.h"
#include "support/XString.h"
#include "tests/TestSupport.h"

// Counts the contexts that are open, and keeps the texts, each in a line, without needing memory.
class CountingLog : public LogBase {
public:
    void LogError(const char* text) override { keep(text); }
    void LogDataSb(const char* tag, const StringBuffer&) override { keep(tag); }
    void enterContext(const char*) override { ++open; }
    void leaveContext() override { --open; }

    std::string_view texts() const { return {m_texts, m_size}; }

    int open = 0;

private:
    void keep(const char* text) {
        for (; *text != '\0' && m_size + 1 < sizeof m_texts; ++text)
            m_texts[m_size++] = *text;
        m_texts[m_size++] = '\n';
    }

    char m_texts[1000];
    std::size_t m_size = 0;
};

// A sink that takes everything.
class CountingOutput : public _zqOutput {
public:
    bool writeBytes(const char*, unsigned int n, _zqIoParams&, LogBase&) override {
        written += n;
        return true;
    }

    std::uint64_t written = 0;
};

// What one run of an operation works on and leaves behind.
struct Scene {
    explicit Scene(LogBase& itsLog, _zqOutput& itsSink) : log(itsLog), sink(itsSink) {}

    bool take(void* result) {
        array.reset(static_cast<char*>(result));
        return result != nullptr;
    }
    std::string all() const {
        return str(text) + '|' + str(bytes) + '|' + std::string(array.get(), array ? length : 0);
    }

    StringBuffer text{"held"};
    DataBuffer bytes;
    std::unique_ptr<char[]> array;
    unsigned int length = 0;
    LogBase& log;
    _zqOutput& sink;
    _zqIoParams params;
};

struct Operation {
    const char* name;
    std::function<bool(Scene&)> run;
    // By its contract it does not look at every append: short memory may cut what it gives.
    bool mayBeCut = false;
    // What it may log when memory is short, beside what it logs in any case.
    std::string_view logsWhenShort = {};
};

// Every operation of ContentCoding, and those of the collaborators that allocate, with inputs that
// reach the ways through them. All share the object `codec`.
inline std::vector<Operation> operations(ContentCoding& codec) {
    static const std::string bytes = noise(5000), letters(5000, 'A');
    static const std::string greek = x(40, "Καλημέρα κόσμε, ") + "end",
                             qp = x(500, "a=E9=\r\n=00 ");
    static const std::string json =
        R"({"documents": [{"a\u00e9": "x\"\\", "é": [1, [2, {}], {"b": null}]}]})";
    static const unsigned char* const data = reinterpret_cast<const unsigned char*>(bytes.data());
    constexpr std::string_view kNotDecoded =
                                   "Errors in decoding from the specified charset.\ncharset\n",
                               kNotLoaded = "Failed to load ITIDA JSON (1)\n";
    static const auto decodeHeader = [](const char* value, Scene& r) {
        StringBuffer text(value);
        const bool ok = ContentCoding::QB_DecodeToUtf8(text, r.log);
        return r.bytes.append(text.getString(), text.getSize()) && ok;
    };
    static const auto canonicalize = [](const char* options, Scene& r) {
        r.log.m_options.setString(options);
        DataBuffer document;
        return document.appendStr(json.c_str()) &&
               ContentCoding::canonicalizeItida(document, r.bytes, r.log);
    };
    using CC = ContentCoding;
    ContentCoding& c = codec;
    return {
        {"encodeBase64", [&c](Scene& r) { return c.encodeBase64(data, 5000, r.text); }},
        {"encodeBase64_crEntity",
         [&c](Scene& r) { return c.encodeBase64_crEntity(data, 5000, r.text); }},
        {"encodeBase64_crEntity in blocks of every size",
         [](Scene& r) {
             ContentCoding narrow;
             narrow.setLineLength(10);
             static const char zeros[126] = {};
             return narrow.encodeBase64_crEntity(zeros, sizeof zeros, r.text);
         }},
        {"encodeBase64ToOutput",
         [&c](Scene& r) { return c.encodeBase64ToOutput(data, 5000, r.sink, r.params, r.log); }},
        {"encodeBase64_noCrLf",
         [](Scene& r) { return CC::encodeBase64_noCrLf(data, 5000, r.text); }},
        {"encodeModBase64_noCrLf",
         [](Scene& r) { return CC::encodeModBase64_noCrLf(data, 4999, r.text); }},
        {"decodeBase64",
         [](Scene& r) { return r.take(CC::decodeBase64(letters.data(), 5000, &r.length)); }},
        {"decodeBase64_2",
         [](Scene& r) {
             bool ok = false;
             r.take(CC::decodeBase64_2(letters.data(), 5000, &r.length, ok));
             return ok;
         }},
        {"decodeBase64ToDb",
         [](Scene& r) { return CC::decodeBase64ToDb(letters.data(), 5000, r.bytes); }},
        {"appendBase64", [&c](Scene& r) { return c.appendBase64(r.text, letters.c_str()); }},
        {"isBase64", [&c](Scene& r) { return c.isBase64(letters.data(), 5000, r.log); }},
        {"validateBase64", [&c](Scene&) { return c.validateBase64(letters.data(), 5000); }},
        {"isBase64_utf16LE", [&c](Scene&) { return c.isBase64_utf16LE("AAA\0B\0", 6); }},
        {"encodeQuotedPrintable",
         [&c](Scene& r) { return c.encodeQuotedPrintable(data, 5000, r.text); }, true},
        {"encodeQuotedPrintable to an array",
         [&c](Scene& r) { return r.take(c.encodeQuotedPrintable(data, 5000, &r.length)); }, true},
        {"encodeQpToOutput",
         [&c](Scene& r) { return c.encodeQpToOutput(data, 5000, r.sink, r.params, r.log); }},
        {"decodeQuotedPrintable",
         [&c](Scene& r) { return c.decodeQuotedPrintable(qp.data(), size32(qp), r.bytes); }},
        {"encodeDkimQuotedPrintable",
         [&c](Scene& r) { return c.encodeDkimQuotedPrintable(data, 5000, r.text); }},
        {"decodeDkimQuotedPrintable",
         [](Scene& r) { return CC::decodeDkimQuotedPrintable(qp.data(), size32(qp), r.bytes); }},
        {"B_Encode", [&c](Scene& r) { return r.take(c.B_Encode(data, 5000, &r.length)); }},
        {"Q_Encode", [&c](Scene& r) { return r.take(c.Q_Encode(data, 5000, &r.length)); }, true},
        {"Q_EncodeCommaToo",
         [&c](Scene& r) { return r.take(c.Q_EncodeCommaToo(data, 5000, &r.length)); }, true},
        {"Q_Decode", [](Scene& r) { return r.take(CC::Q_Decode(qp.data(), 900, &r.length)); }},
        {"bEncodeData2", [&c](Scene& r) { return c.bEncodeData2(data, 99, "utf-8", r.text); },
         true},
        {"qEncodeData2", [&c](Scene& r) { return c.qEncodeData2(data, 99, "utf-8", r.text); },
         true},
        {"qbEncodeData", [&c](Scene& r) { return c.qbEncodeData(data, 99, "big5", r.text); }, true},
        {"bEncodeForMimeField",
         [&c](Scene& r) {
             return c.bEncodeForMimeField(greek.data(), size32(greek), true, 65001, "utf-8", r.text,
                                          r.log);
         },
         true},
        {"bEncodeForMimeField in ISO-2022-JP",
         [&c](Scene& r) {
             return c.bEncodeForMimeField("\x1B$B$3$s\x1B(B", 10, true, 50220, "iso-2022-jp",
                                          r.text, r.log);
         },
         true},
        {"qEncodeForMimeField",
         [&c](Scene& r) {
             return c.qEncodeForMimeField(bytes.data(), 500, true, 1253, "windows-1253", r.text);
         },
         true},
        {"QB_Decode",
         [](Scene& r) {
             StringBuffer value("a =?x?Q?b=20c?= d =?x?B?QUJD?= e");
             return CC::QB_Decode(value, r.bytes);
         },
         true},
        {"QB_DecodeToUtf8", [](Scene& r) { return decodeHeader("=?utf-8?Q?a=C3=A9?= b", r); }, true,
         kNotDecoded},
        {"QB_DecodeToUtf8 of KOI8-R", [](Scene& r) { return decodeHeader("=?koi8-r?B?8NLJ?=", r); },
         true, kNotDecoded},
        {"QB_DecodeToUtf8 of ISO-2022-JP",
         [](Scene& r) { return decodeHeader("=?iso-2022-jp?B?GyRCJDMkcxsoQg==?=", r); }, true,
         kNotDecoded},
        {"QB_DecodeToUtf8 of ill-formed text",
         [](Scene& r) { return decodeHeader("=?shift_jis?Q?=81?= =?no-such?Q?x?=", r); }, true,
         kNotDecoded},
        {"decodeStarEncoded",
         [](Scene& r) {
             StringBuffer value("koi8-r''%F0%D2%C9"), charset;
             return CC::decodeStarEncoded(value, "utf-8", r.text, charset, r.log);
         },
         true},
        {"encodeBase32_noCrLf",
         [](Scene& r) { return CC::encodeBase32_noCrLf(data, 5000, r.text); }},
        {"decodeBase32",
         [](Scene& r) { return CC::decodeBase32(letters.c_str(), r.bytes, r.log); }},
        {"encodeBase58", [](Scene& r) { return CC::encodeBase58(data, 200, r.text, r.log); }},
        {"decodeBase58", [](Scene& r) { return CC::decodeBase58("zzzz1111", r.bytes, r.log); },
         true},
        {"encodeAscii85", [](Scene& r) { return CC::encodeAscii85(data, 5000, r.text, r.log); }},
        {"decodeAscii85",
         [](Scene& r) {
             static const StringBuffer text(std::string(5000, '!'));
             return CC::decodeAscii85(text, r.bytes, r.log);
         }},
        {"encodeEda", [](Scene& r) { return CC::encodeEda(data, 5000, r.text); }, true},
        {"decodeEda", [](Scene& r) { return CC::decodeEda(letters.data(), 5000, r.bytes); }, true},
        {"canonicalizeItida", [](Scene& r) { return canonicalize("", r); }, false, kNotLoaded},
        {"canonicalizeItida of the first document",
         [](Scene& r) { return canonicalize("ItidaCanonFirstDoc", r); }, true, kNotLoaded},
        {"EncConvert",
         [](Scene& r) {
             EncodingConvert converter;
             const auto* const text = reinterpret_cast<const unsigned char*>(greek.data());
             return converter.EncConvert(65001, 1253, text, size32(greek), r.bytes, r.log) &&
                    converter.EncConvert(65001, 50220, text, 9, r.bytes, r.log);
         }},
        {"replaceAllOccurancesUtf8",
         [](Scene& r) {
             XString text;
             return text.setFromUtf8(greek.c_str()) &&
                    text.replaceAllOccurancesUtf8("κόσμε", "<world>", false) &&
                    text.replaceAllOccurancesUtf8(", ", "", true) &&
                    r.bytes.append(text.getUtf8(), zqStrLen(text.getUtf8()));
         }},
        {"convertEncoding",
         [](Scene& r) {
             StringBuffer text(greek);
             return text.convertEncoding(65001, 1200, r.log) && r.text.append(text);
         },
         true},
    };
}

#endif
