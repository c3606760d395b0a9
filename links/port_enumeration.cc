#include "links/port_enumeration.h"

#include "platform/port_list.h"

namespace ulix {

int EnumSerialPorts(std::vector<int>& ports) {
  ports.clear();
  for (const platform::PortEntry& entry : platform::ListSerialPorts()) ports.push_back(entry.number);
  return static_cast<int>(ports.size());
}

}  // namespace ulix
