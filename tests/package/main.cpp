#include <codec/ContentCoding.h>

#include <cstdio>

int main() {
    StringBuffer text;
    if (!ContentCoding().encodeBase64("installed", 9, text)) return 1;
    std::fputs(text.getString(), stdout);
}
