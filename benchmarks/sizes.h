#ifndef SIZES_H
#define SIZES_H

/// The sizes of an envelope's JSON text at which everything is measured.
struct Size
{
    const char* name;
    int bytes;
};

constexpr Size SIZES[] = {{"64B", 64}, {"1kB", 1000}, {"16kB", 16000}, {"200kB", 200000}, {"5MB", 5000000}};

#endif // SIZES_H
