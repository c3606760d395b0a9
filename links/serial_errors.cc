#include "links/serial_errors.h"

#include <array>

namespace ulix {
namespace {

constexpr std::array kSerialErrors = {
    ErrorRow{serialCommErrUnableToOpenComm,
             {"Unable to open communication", "Impossible d'ouvrir la communication"},
             "UNABLE_TO_OPEN_COMM",
             6000,
             6100},
    ErrorRow{serialCommErrCommClosed, {"Communication is closed", "Communication fermée"}, "COMM_CLOSED", 6001, 6101},
    ErrorRow{serialCommErrUnableToWriteComm,
             {"Unable to send command", "Impossible d'émettre la commande"},
             "UNABLE_TO_WRITE_COMM",
             6002,
             6102},
    ErrorRow{serialCommErrUnableToReadComm,
             {"Unable to read answer", "Impossible de lire la réponse"},
             "UNABLE_TO_READ_COMM",
             6003,
             6103},
};

}  // namespace

std::span<const ErrorRow> SerialErrorTexts() { return kSerialErrors; }

}  // namespace ulix
