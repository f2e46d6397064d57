// Security attributes of objects that processes of every user may open.
#pragma once

#include <platform/win32/system.h>

class OpenToAll {
public:
    bool initialise()
    {
        return InitializeSecurityDescriptor(&descriptor_, SECURITY_DESCRIPTOR_REVISION) != 0;
    }
    // A descriptor with a list that is not there allows everything.
    bool set() { return SetSecurityDescriptorDacl(&descriptor_, TRUE, nullptr, FALSE) != 0; }
    SECURITY_ATTRIBUTES *attributes() { return &attributes_; }

private:
    SECURITY_DESCRIPTOR descriptor_ = {};
    SECURITY_ATTRIBUTES attributes_ = {sizeof(SECURITY_ATTRIBUTES), &descriptor_, FALSE};
};
