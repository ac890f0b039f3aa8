#pragma once
// The JSON keys of the cloud API by what they mean in their object; several objects share a key.

#include <cstdint>

enum Attributes : std::int32_t {
    ATTR_ACCESS_TOKEN = 0,
    ATTR_REFRESH_TOKEN = 1,
    ATTR_EXPIRES_IN = 2,
    ATTR_LOCATION_TYPE = 3,
    ATTR_LOCATION_NAME = 4,
    ATTR_LOCATION_ID = 5,
    ATTR_DEVICE_TYPE = 6,
    ATTR_DEVICE_NAME = 7,
    ATTR_DEVICE_ID = 8,
    ATTR_POWER_SOURCE = 9,
    ATTR_POWER_LEVEL = 10,
    ATTR_HEARTBEAT_INTERVAL = 11,
    ATTR_SERIAL_NUMBER = 12,
    ATTR_PROGRAMMING_CODE = 13,
    ATTR_DEVICE_LOCATION_ID = 14,
    ATTR_STATE = 15,
    ATTR_WIFI_LEVEL = 16,
    ATTR_CONNECTED_AT = 17,
    ATTR_UPDATED_AT = 18,
    ATTR_ALIVE = 19,
    ATTR_PERSON_TYPE = 20,
    ATTR_PERSON_NAME = 21,
    ATTR_PERSON_ID = 22,
    ATTR_PIN = 23,
    ATTR_EMAIL = 24,
    ATTR_ACCESS_TYPE = 25,
    ATTR_ACCESS_ID = 26,
    ATTR_ACCESS_PERSON_ID = 27,
    ATTR_ACCESSIBLE_ID = 28,
};
