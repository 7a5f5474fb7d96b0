#include "App/FontWarmUp.h"

#include <fontconfig/fontconfig.h>

namespace lanternfold {

FontWarmUp::FontWarmUp() : m_thread([] { FcInit(); }) {}

FontWarmUp::~FontWarmUp()
{
    wait();
}

void FontWarmUp::wait()
{
    if (m_thread.joinable())
        m_thread.join();
}

} // namespace lanternfold
