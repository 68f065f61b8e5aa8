#include "newservice/cppwords.h"

#include <QString>

#include <algorithm>
#include <iterator>

namespace tarvexctl {

namespace {

const char* const WORDS[] = {
    // The keywords of C++17 and C++20.
    "alignas", "alignof", "and", "and_eq", "asm", "auto", "bitand", "bitor", "bool", "break", "case", "catch", "char",
    "char16_t", "char32_t", "char8_t", "class", "co_await", "co_return", "co_yield", "compl", "concept", "const",
    "const_cast", "consteval", "constexpr", "constinit", "continue", "decltype", "default", "delete", "do", "double",
    "dynamic_cast", "else", "enum", "explicit", "export", "extern", "false", "float", "for", "friend", "goto", "if",
    "inline", "int", "long", "mutable", "namespace", "new", "noexcept", "not", "not_eq", "nullptr", "operator", "or",
    "or_eq", "private", "protected", "public", "register", "reinterpret_cast", "requires", "return", "short", "signed",
    "sizeof", "static", "static_assert", "static_cast", "struct", "switch", "template", "this", "thread_local", "throw",
    "true", "try", "typedef", "typeid", "typename", "union", "unsigned", "using", "virtual", "void", "volatile",
    "wchar_t", "while", "xor", "xor_eq",
    // Macros of the standard library, of the compiler and of Qt, as far as they can be a command's name. The compiler
    // lists them with "-dM -E".
    "alloca", "assert", "assert_perror", "be16toh", "be32toh", "be64toh", "emit", "errno", "foreach", "forever",
    "htobe16", "htobe32", "htobe64", "htole16", "htole32", "htole64", "le16toh", "le32toh", "le64toh", "linux",
    "offsetof", "pthread_cleanup_pop", "pthread_cleanup_push", "qCritical", "qDebug", "qFatal", "qInfo", "qMove",
    "qPrintable", "qUtf16Printable", "qUtf8Printable", "qWarning", "sched_priority", "signals", "slots", "stderr",
    "stdin", "stdout", "strdupa", "strndupa", "unix", "va_arg", "va_copy", "va_end", "va_start"};

} // namespace

bool isCppWord(const QString& name)
{
    return std::any_of(std::begin(WORDS), std::end(WORDS),
                       [&name](const char* word) { return name == QLatin1String(word); });
}

} // namespace tarvexctl
