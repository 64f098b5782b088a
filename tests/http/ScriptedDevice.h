#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "doubles/MockDeviceConnection.h"
#include "http/HTTPTestSupport.h"

namespace http_test {

// A scripted connection that answers with its address and port and keeps
// each write whole. The caller holds one reference.
inline ::testing::NiceMock<doubles::MockDeviceConnection>* RecordingConnection(const wchar_t* address,
                                                                               const wchar_t* port,
                                                                               std::vector<std::string>* writes,
                                                                               bool* destroyed = nullptr)
{
    using ::testing::_;
    using ::testing::Return;
    auto* connection = new ::testing::NiceMock<doubles::MockDeviceConnection>(destroyed);
    connection->AddRef();
    ON_CALL(*connection, GetAddress()).WillByDefault(Return(address));
    ON_CALL(*connection, GetPort()).WillByDefault(Return(port));
    ON_CALL(*connection, Write(_, _, _, _))
        .WillByDefault([writes](const void* buffer, unsigned long size, unsigned long* written,
                                QVUtils::IProgress*) {
            writes->emplace_back(static_cast<const char*>(buffer), size);
            *written = size;
            return 0UL;
        });
    return connection;
}

// A device's answers as raw header blocks, handed back one per read through
// SetHeaders; the last one answers every later read.
inline ScriptedReadClient::Reader HeadersInTurn(std::vector<std::string> answers)
{
    auto next = std::make_shared<size_t>(0);
    return [answers, next](ScriptedReadClient& client) {
        const size_t turn = *next < answers.size() ? (*next)++ : answers.size() - 1;
        client.SetHeaders(answers[turn].c_str());
        return 0UL;
    };
}

}  // namespace http_test
