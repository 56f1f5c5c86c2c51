// The one place where the JSON library is compiled: its definitions come as a header, so that
// nothing has to be linked.

#include <boost/json/src.hpp>
