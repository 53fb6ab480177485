#include <codec/ContentCoding.h>

#include <contentcoding/contentcoding.hpp>
#include <cstdio>

int main() {
    StringBuffer text;
    if (!ContentCoding().encodeBase64("installed", 9, text)) return 1;
    if (contentcoding::base64::encode("installed") + "\r\n" != text.view()) return 1;
    std::fputs(text.getString(), stdout);
}
