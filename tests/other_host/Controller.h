#pragma once
// The small host behind the headers in host/: what it knows, its main loop and its one worker. The worker and
// the main loop take turns: one runs while the other waits, so nothing here needs a lock, and the clock moves
// by rounds only.

#include "host/Bridge.h"
#include "host/DoorLock.h"
#include "host/JSON.h"
#include "host/PropertySet.h"

#include <cstdarg>
#include <functional>
#include <memory>
#include <semaphore>
#include <string>
#include <thread>
#include <variant>
#include <vector>

struct CQXMSG::Own {
    std::vector<std::variant<int, std::string>> row;
    std::size_t next = 0;
};

struct CPropertySet::Own {
    std::vector<std::unique_ptr<CSystemProperty>> properties;
};
struct CSystemProperty::Own {
    int id = 0;
    std::string value;
    std::vector<std::string> choices;
    int selected = -1;
};

struct CBridge::Own {
    int type = 0;
    std::string name;
    CDeviceInterface* interface = nullptr;
    bool shuttingDown = false;
};
struct CBridgeClient::Own {
    CBridge* bridge = nullptr;
    unsigned bridgeId = 0;
    std::string deviceId;
};
struct CGeneralCommThread::Own {
    int bytesSent = 0;
    int sends = 0;
    int bytesReceived = 0;
    int receives = 0;
};
struct CSystemComponent::Own {
    unsigned id = 0;
    int type = 0;
    std::string name;
    unsigned flags = 0;
    bool installed = false;
};
struct CDoorLock::Own {
    int state = STATE_UNKNOWN;
    int working = 0;
    int battery = -1;
    int signal = -1;
    int user = 0;
    int commandUser = 0;
    int userCodes = 1;
    int enabledUser = -1;
    int writes = 0;
    std::string error;
};

namespace other_host
{

struct Controller {
    long long clockMs = 1000000;
    std::vector<std::string> reports;
    std::unique_ptr<CNetworkBridge> bridge; // the only one
    unsigned lastId = 0;
    std::vector<std::unique_ptr<CSystemComponent>> components;
    std::function<CSystemComponent*(int type)> createComponent;
    int userSlot = -1; // of the only user
    int saves = 0;     // asked for
    int triggers = 0;
    int restarts = 0;

    // The cloud: a reply to a request that was sent to a host.
    std::function<std::string(const std::string& host, const std::string& request)> cloud;

    std::thread worker;
    std::binary_semaphore workersTurn{0};
    std::binary_semaphore loopsTurn{0};

    void StartWorker();
    void StopWorker();
    void Round(); // of the main loop: 100 ms later, what the worker does in them, and the idle calls
};
extern Controller g_controller;

std::string Formatted(const char* format, std::va_list arguments);

// Well-formed JSON without escapes; what separates the values is skipped.
std::unique_ptr<CJSONObject> Parsed(const char*& text);

} // namespace other_host
