#include "UartManager/SharedState.h"

std::atomic<bool> m_bCurrentKeyFinish{false};
std::atomic<std::int32_t> m_secondUpdateStatus{0};
zel::SharedText m_strSecondUpdateMessage;
