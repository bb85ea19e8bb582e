#pragma once

/// What people call the destination of a sink that only this platform has.
/// \param id  the sink's.
/// \return null for any other sink's.
const wchar_t* platformDestination(unsigned long long id) noexcept;
