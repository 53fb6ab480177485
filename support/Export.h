#ifndef SUPPORT_EXPORT_H
#define SUPPORT_EXPORT_H

// What a shared library exports; everything without it is hidden.
#define CONTENTCODING_EXPORT [[gnu::visibility("default")]]

#endif
