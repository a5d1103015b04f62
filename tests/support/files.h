// Whole files as texts.
#pragma once

#include <fstream>
#include <iterator>
#include <string>

inline void writeFile(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

// Returns the bytes of a file; "(no file)" if it cannot be opened.
inline std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "(no file)";
}
