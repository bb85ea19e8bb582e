#include <tolvane/nullobject.h>

nullobject::nullobject() : std::basic_ostream<wchar_t>(nullptr) {}

nullobject::~nullobject() = default;
