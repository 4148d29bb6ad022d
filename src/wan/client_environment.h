// The DHCPv6 client's environment, as far as the event handler reads it.
#pragma once

#include "frame/text.h"

// One variable: null in `value` when it is absent. A value with a control character counts as absent; the log says so.
struct ClientValue {
    const char* value;

    explicit ClientValue(const char* variable);

    bool given() const { return value != nullptr; }
    // For texts: absent reads as empty.
    const char* text() const { return value != nullptr ? value : ""; }
    bool equals(const char* other) const { return value != nullptr && std::strcmp(value, other) == 0; }
};

// The variables that every event carries.
struct ClientEvent {
    ClientValue reason{"reason"};
    ClientValue interface {
        "interface"
    };
    ClientValue stateless{"stateless"};

    // A client that was not told its mode counts as stateful.
    bool is_stateful() const { return !stateless.given() || stateless.equals("0"); }
};
