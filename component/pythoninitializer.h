// PythonInitializer: declares the component's application states in the
// host's data store. The host creates it once, right after EntryPoint.
#pragma once

#include "kel/kelinitializer.h"

class PythonInitializer : public virtual IKelInitializer {
public:
    // The group "Python" with the output and error strings that the Python
    // output classes write to, and the redirect flag.
    void initialize() override;

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "PythonInitializer"; }
};
