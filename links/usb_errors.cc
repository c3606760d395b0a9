#include "links/usb_errors.h"

#include <array>

namespace ulix {
namespace {

constexpr std::array kUsbErrors = {
    ErrorRow{winUsbCommErrUnableToOpenComm,
             {"Unable to open communication", "Impossible d'ouvrir la communication"},
             "UNABLE_TO_OPEN_COMM",
             6600,
             6700},
    ErrorRow{winUsbCommErrCommClosed, {"Communication is closed", "Communication fermée"}, "COMM_CLOSED", 6601, 6701},
    ErrorRow{winUsbCommErrUnableToWriteComm,
             {"Unable to send command", "Impossible d'émettre la commande"},
             "UNABLE_TO_WRITE_COMM",
             6602,
             6702},
    ErrorRow{winUsbCommErrUnableToReadComm,
             {"Unable to read answer", "Impossible de lire la réponse"},
             "UNABLE_TO_READ_COMM",
             6603,
             6703},
    ErrorRow{winUsbCommErrUnableToFlushComm,
             {"Unable to flush communication", "Impossible de vider la communication"},
             "UNABLE_TO_FLUSH_COMM",
             6604,
             6704},
    ErrorRow{winUsbCommErrBadIdentifier,
             {"Bad USB device identifier", "Identifiant de périphérique USB incorrect"},
             "BAD_IDENTIFIER",
             6605,
             6705},
    ErrorRow{winUsbCommErrUnableToSetupComm,
             {"Unable to set up communication", "Impossible de configurer la communication"},
             "UNABLE_TO_SETUP_COMM",
             6606,
             6706},
    ErrorRow{winUsbCommErrGuidNotFound,
             {"USB device not found", "Périphérique USB introuvable"},
             "GUID_NOT_FOUND",
             6607,
             6707},
};

}  // namespace

std::span<const ErrorRow> UsbErrorTexts() { return kUsbErrors; }

}  // namespace ulix
