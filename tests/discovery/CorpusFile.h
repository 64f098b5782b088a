#pragma once

#include <fstream>
#include <iterator>
#include <string>

namespace wsdtest {

// A file of tests/discovery/corpus, whole.
inline std::string CorpusFile(const char* name)
{
    std::ifstream file(std::string(ORVANE_WSD_CORPUS) + "/" + name, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

// A corpus reply with the identifier of the request it answers.
inline std::string CorpusReply(const char* name, const std::string& relatesTo)
{
    std::string text = CorpusFile(name);
    const size_t at = text.find("@RELATES_TO@");
    return at == std::string::npos ? text : text.replace(at, 12, relatesTo);
}

}  // namespace wsdtest
