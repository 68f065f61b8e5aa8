#ifndef PAGEFILES_H
#define PAGEFILES_H

#include <string>
#include <vector>

namespace tarvex::devbus {

/// A file of the page, which is part of the program.
struct PageFile
{
    std::string path; ///< In the address. It has no character with a meaning in a regular expression but the point.
    std::string type;
    std::string content;
};

std::vector<PageFile> pageFiles();

} // namespace tarvex::devbus

#endif // PAGEFILES_H
