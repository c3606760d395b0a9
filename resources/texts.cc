#include "resources/texts.h"

#include <algorithm>
#include <array>

namespace ulix {
namespace {

constexpr std::array kTexts = {
    TextRow{TextId::kDataBits, {"%c Data Bits", "%c bits de données"}},
    TextRow{TextId::kStopBits, {"%c Stop Bits", "%c bits d'arrêt"}},
    TextRow{TextId::kParityEven, {"Even Parity", "Parité paire"}},
    TextRow{TextId::kParityOdd, {"Odd Parity", "Parité impaire"}},
    // The two languages say opposite things for these two; hosts have shown them so for years.
    TextRow{TextId::kParityIgnore, {"Parity Ignore", "Sans parité"}},
    TextRow{TextId::kParityNone, {"No Parity", "Parité ignorée"}},
    TextRow{TextId::kFlowHardware, {"Hardware Flow Control", "Contrôle de flux matériel"}},
    TextRow{TextId::kFlowNone, {"No Flow Control", "Sans contrôle de flux"}},
    TextRow{TextId::kNotOpened, {"Communication not opened", "Communication non ouverte"}},
    TextRow{TextId::kInvalidArgument, {"Invalid Argument", "Argument incorrect"}},
    TextRow{TextId::kNoGroupId, {"Group ID not available", "ID de groupe non disponible"}},
    TextRow{TextId::kNoModbusServer, {"Unable to access UlixModbusServer", "Impossible d'accéder à UlixModbusServer"}},
    TextRow{TextId::kAccessRights,
            {"Access Rights Configuration Problem.\nPlease, contact your Network Administrator.",
             "Problème de configuration des droits d'accès.\nVeuillez contacter votre administrateur réseau."}},
    TextRow{TextId::kNoIpPort, {"Unable to open IP Port", "Impossible d'ouvrir le port IP"}},
    TextRow{TextId::kNoSerialPort, {"Unable to open Local Serial Port", "Impossible d'ouvrir le port série local"}},
    TextRow{TextId::kOpenedLate,
            {"The serial port could be opened after several attempts only",
             "Le port série n'a pu être ouvert qu'après plusieurs tentatives"}},
};

}  // namespace

std::span<const TextRow> AllTexts() { return kTexts; }

std::string Text(TextId id, Language language) {
  const auto row = std::find_if(kTexts.begin(), kTexts.end(), [id](const TextRow& text) { return text.id == id; });
  return row == kTexts.end() ? std::string() : row->words.In(language);
}

}  // namespace ulix
