// SPDX-FileCopyrightText: 2026 The Lanternfold developers
// SPDX-License-Identifier: GPL-3.0-or-later

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
