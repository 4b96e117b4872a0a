// The versions of the projects that a build can link, from their headers. notice.cmake reads the
// text from the object file. A number such as 90100 stands for 9.1.0.
#include <cstddef>
#include <fmt/core.h>
#include <jansson.h>

#define QX_TEXT_OF(words) #words
#define QX_LINE(name, version) "\nqx_version " name " " QX_TEXT_OF(version)

extern const char qx_versions[];
const char qx_versions[] = "\nqx_version jansson " JANSSON_VERSION QX_LINE("fmt", FMT_VERSION)
#ifdef _LIBCPP_VERSION
    QX_LINE("libc++", _LIBCPP_VERSION) QX_LINE("libc++abi", _LIBCPP_VERSION)
        QX_LINE("libunwind", _LIBCPP_VERSION)
#elif defined(__GNUC__)
    QX_LINE("libstdc++", __GNUC__.__GNUC_MINOR__.__GNUC_PATCHLEVEL__)
        QX_LINE("libgcc", __GNUC__.__GNUC_MINOR__.__GNUC_PATCHLEVEL__)
#endif
#ifdef __GLIBC__
            QX_LINE("glibc", __GLIBC__.__GLIBC_MINOR__)
#endif
                "\n";
