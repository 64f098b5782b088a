#pragma once

namespace bench {

// Which way the bytes of a stream case go, seen from the host.
enum class Direction { Write, Read };

}  // namespace bench
