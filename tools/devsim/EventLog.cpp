#include "devsim/EventLog.h"

#include <cstdio>

namespace devsim {

void EventLog::Line(const std::string& text)
{
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

}  // namespace devsim
