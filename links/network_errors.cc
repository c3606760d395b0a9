#include "links/network_errors.h"

#include <array>

namespace ulix {
namespace {

constexpr std::array kNetworkErrors = {
    ErrorRow{networkCommErrUnableToConnect,
             {"Unable to establish connection", "Impossible d'établir la connexion"},
             "UNABLE_TO_CONNECT",
             6020,
             6120},
    ErrorRow{networkCommErrConnexClosed, {"Connection is closed", "Connexion fermée"}, "CONNEX_CLOSED", 6021, 6121},
    ErrorRow{networkCommErrUnableToWriteComm,
             {"Unable to send command", "Impossible d'émettre la commande"},
             "UNABLE_TO_WRITE_COMM",
             6022,
             6122},
    ErrorRow{networkCommErrUnableToReadComm,
             {"Unable to read answer", "Impossible de lire la réponse"},
             "UNABLE_TO_READ_COMM",
             6023,
             6123},
};

}  // namespace

std::span<const ErrorRow> NetworkErrorTexts() { return kNetworkErrors; }

}  // namespace ulix
