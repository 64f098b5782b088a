// The simulator's management objects: system description, up time, contact
// (settable) and name, a printer status and a page counter, answered over
// HTTP at /mib:
//
//   GET  /mib?get=OID    the object
//   GET  /mib?next=OID   the first object after OID, 404 past the last
//   POST /mib?set=OID    the body "INTEGER\n5" or "STRING\ntext"
//
// An answer's body is "OID\nTYPE\nVALUE", TYPE being INTEGER or STRING and
// VALUE the number in decimal or the text's bytes as they are.
#pragma once

#include <windows.h>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "devsim/HttpRequest.h"
#include "devsim/HttpResponse.h"

namespace devsim {

class ManagementTree {
public:
    // `pages` tells the page counter.
    explicit ManagementTree(std::function<long()> pages);

    HttpResponse Respond(const HttpRequest& request);

    // The longest text a set may store.
    static constexpr size_t kMaxText = 1024;

private:
    using Oid = std::vector<unsigned long>;
    struct Object {
        bool text;
        bool writable;
        std::string value;
    };

    static bool ParseOid(const std::string& text, Oid* oid);
    static std::string OidText(const Oid& oid);
    // The current value: the up time and page counter are read when asked.
    std::string ValueOf(const Oid& oid, const Object& object) const;
    HttpResponse Answer(const Oid& oid, const Object& object) const;
    HttpResponse Set(const Oid& oid, const std::string& body);

    std::function<long()> m_pages;
    const ULONGLONG m_started;
    std::mutex m_lock;
    std::map<Oid, Object> m_objects;
};

}  // namespace devsim
