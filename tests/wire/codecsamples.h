#ifndef CODECSAMPLES_H
#define CODECSAMPLES_H

#include <QByteArray>

#include <cstddef>
#include <zlib.h>

/// Texts and payloads that the tests of reading share.
namespace codecsamples {

/// A reply with a value of each kind, white space, escapes and characters of each length in UTF-8.
const QByteArray REPLY_JSON =
    R"({"data":{"list":[1,-2.5e3,true,false,null,"x\n\u00e9"],"n":{"":[]}},"operation":"save",)"
    "\n\"result\" : {\"code\":5,\"description\":\"no \xc3\xa9\xe2\x82\xac\xf0\x9f\x8e\xab\"}}";

/// All bytes of a literal, NUL bytes included.
template <std::size_t size>
QByteArray bytes(const char (&literal)[size])
{
    return {literal, size - 1};
}

/// A payload whose text is not compressed, so that it is made quickly.
inline QByteArray stored(const QByteArray& text)
{
    return qCompress(text, Z_NO_COMPRESSION).toBase64();
}

} // namespace codecsamples

#endif // CODECSAMPLES_H
