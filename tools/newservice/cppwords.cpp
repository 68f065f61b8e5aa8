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
    // Macros of the standard library, of the compiler and of Qt.
    "assert", "emit", "errno", "foreach", "forever", "linux", "signals", "slots", "stderr", "stdin", "stdout", "unix"};

} // namespace

bool isCppWord(const QString& name)
{
    return std::any_of(std::begin(WORDS), std::end(WORDS),
                       [&name](const char* word) { return name == QLatin1String(word); });
}

} // namespace tarvexctl
