#ifndef CONTENTCODING_EXPORT_HPP
#define CONTENTCODING_EXPORT_HPP

// Marks what the shared library shows; everything else in it is hidden.
#if defined(__GNUC__)
#define CONTENTCODING_EXPORT __attribute__((visibility("default")))
#else
#define CONTENTCODING_EXPORT
#endif

#endif
