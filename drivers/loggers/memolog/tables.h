// The tables of the Memolog data loggers: model card, channels, settings and errors.
#pragma once

#include <array>

#include "drivers/loggers/memolog/program_model.h"
#include "drivers/model_card.h"
#include "drivers/numbered_channels.h"
#include "drivers/program_transfer.h"

namespace ulix::memolog {

// The identification contains one of these words: "ULIX,MEMOLOG90,1234567,V2.10".
inline constexpr std::array<const char*, 3> kModelWords = {"MEMOLOG20", "MEMOLOG90", "MEMOLOG140"};

// The baud rates of the serial line; the first one is the default. Other models do not have 56000.
inline constexpr std::array<std::uint32_t, 4> kRates = {9600, 19200, 38400, 56000};

// A channel's id is its number minus 1. The logger's program determines which channels it has.
inline constexpr auto kChannelNames = NumberTexts<kChannelCount, 8>("CH", "", 1);
inline constexpr auto kChannels = NumberedInputs(kChannelNames);

enum SettingIndex { kSlave, kProgramFile };

inline constexpr auto kSettings = std::array{
    SettingRow{"slave", {"Slave address", "Adresse esclave"}, 0, VariantType::kUi1, 0, 8, {}, 1},
    SettingRow{"program-file", {"Program file", "Fichier programme"}, 1, VariantType::kBstr},
};

inline constexpr auto kLinkSettings = std::array{kSettings[kSlave].key};

inline constexpr ProgramFileKind kProgramFileKind = {
    .title = {"Select Memolog Program File", "Sélectionner un fichier programme Memolog"},
    .files = {"Memolog Files (*.p90)", "Fichiers Memolog (*.p90)"},
    .pattern = "*.p90",
    .setting = kSettings[kProgramFile].key,
};

// Texts for the progress of long operations.
inline constexpr LocalizedText kSendTitle = {"Program MEMOLOG", "Programmer le MEMOLOG"};
inline constexpr LocalizedText kSent = {"Program sent", "Programme envoyé"};
inline constexpr LocalizedText kNotSent = {"Unable to send Program File", "Impossible d'envoyer le fichier programme"};
inline constexpr LocalizedText kReadTitle = {"Re-Read MEMOLOG Program", "Relire le programme du MEMOLOG"};
inline constexpr LocalizedText kReRead = {"Program re-read", "Programme relu"};
inline constexpr LocalizedText kNotCreated = {"Unable to create Program File",
                                              "Impossible de créer le fichier programme"};
inline constexpr LocalizedText kRecordOf = {"Record % from %", "Enregistrement % sur %"};
inline constexpr LocalizedText kReadingTitle = {"Reading...", "Lecture..."};
inline constexpr LocalizedText kReadingBlock = {"Reading measurement bloc % from %",
                                                "Lecture du bloc de mesures % sur %"};
inline constexpr LocalizedText kReadingEnds = {"End of the reading", "Fin de la lecture"};

inline constexpr auto kErrors = std::array{
    ErrorRow{memologCtlErrNotMemolog,
             {"Device connected is not a MEMOLOG", "L'appareil connecté n'est pas un MEMOLOG"},
             "NOT_MEMOLOG",
             3300},
    ErrorRow{memologCtlErrHigherMemologVerRequired,
             {"Too old MEMOLOG Version", "Version trop ancienne du MEMOLOG"},
             "HIGHER_MEMOLOG_VER",
             3301},
    ErrorRow{memologCtlErrHigherMemologCtlVerRequired,
             {"Too old Exploitation Software Version", "Version trop ancienne du logiciel d'exploitation"},
             "HIGHER_MEMOLOGCTL_VER",
             3302},
    ErrorRow{memologCtlErrMbusFct,
             {"Modbus function refused by the device", "Fonction Modbus refusée par l'appareil"},
             "MBUS_FCT",
             3303},
    ErrorRow{memologCtlErrMbusAddr,
             {"Modbus address refused by the device", "Adresse Modbus refusée par l'appareil"},
             "MBUS_ADDR",
             3304},
    ErrorRow{memologCtlErrMbusData,
             {"Modbus data refused by the device", "Données Modbus refusées par l'appareil"},
             "MBUS_DATA",
             3305},
    ErrorRow{memologCtlErrOpenFile, {"Unable to open file", "Impossible d'ouvrir le fichier"}, "OPEN_FILE", 3306},
    ErrorRow{memologCtlErrInvalidProgFile,
             {"Invalid program file", "Fichier programme incorrect"},
             "INVALID_PROG_FILE",
             3307},
    ErrorRow{memologCtlErrChNum, {"Invalid channel number", "Numéro de voie incorrect"}, "CH_NUM", 3308},
    ErrorRow{memologCtlErrMemLocked,
             {"Memory is being read by another program", "Mémoire en cours de lecture par un autre programme"},
             "MEM_LOCKED",
             3309},
};

inline constexpr ModelCard kCard = {
    .model_id = "memolog",
    .class_name = "Memolog",
    .display_name = {"Memolog", "Memolog"},
    .display_name_id = 2003,
    .config_text = "MEMOLOG: XXXX_A_IMPLANTER",
    .link = LinkKind::kModbus,
    .expl_key_num = 3,
    .exception_code = memologErrExceptionCode,
    .channels = kChannels,
    .channels_in_instrument = true,
    .settings_can_be_read = true,
    .settings_can_be_sent = true,
    .settings = kSettings,
    .link_settings = kLinkSettings,
    .errors = kErrors,
};

}  // namespace ulix::memolog
