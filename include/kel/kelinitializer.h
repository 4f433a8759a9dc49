// IKelInitializer: a class the host creates once to let the component set
// itself up in the host (declare application states and the like).
#pragma once

#include "kel/kelobject.h"

class IKelInitializer : public virtual IKelUnknown {
public:
    static constexpr char interfaceName[] = "IKelInitializer";

    virtual void initialize() = 0;
};
