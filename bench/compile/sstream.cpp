#include <sstream>
