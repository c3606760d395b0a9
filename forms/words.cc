#include "forms/words.h"

namespace ulix {

constexpr std::array<WordRow, static_cast<std::size_t>(Word::kNo) + 1> kFormWords = {{
    {Word::kOk, {"OK", "OK"}},
    {Word::kCancel, {"Cancel", "Annuler"}},
    {Word::kCommunication, {"Communication", "Communication"}},
    {Word::kConfiguration, {"Configuration", "Configuration"}},
    {Word::kPropertiesVerb, {"&Properties", "&Propriétés"}},
    {Word::kGeneral, {"General", "Général"}},
    {Word::kChannel, {"Channel %", "Voie %"}},
    {Word::kChannels, {"Channels", "Voies"}},
    {Word::kGroup, {"Group %", "Groupe %"}},
    {Word::kName, {"Name", "Nom"}},
    {Word::kOutputs, {"Outputs", "Sorties"}},
    {Word::kAbout, {"About", "À propos"}},
    {Word::kPort, {"Serial port", "Port série"}},
    {Word::kSpeed, {"Speed", "Vitesse"}},
    {Word::kDataBits, {"Data bits", "Bits de données"}},
    {Word::kStopBits, {"Stop bits", "Bits d'arrêt"}},
    {Word::kParity, {"Parity", "Parité"}},
    {Word::kFlow, {"Flow control", "Contrôle de flux"}},
    {Word::kHost, {"Network host (empty: serial)", "Hôte réseau (vide : série)"}},
    {Word::kTcpPort, {"TCP port", "Port TCP"}},
    {Word::kUsbLibrary, {"USB library", "Bibliothèque USB"}},
    {Word::kFound, {"found", "trouvée"}},
    {Word::kNotFound, {"not found", "introuvable"}},
    {Word::kPeriod, {"Period", "Période"}},
    {Word::kDeadBandPercent, {"Dead band, relative", "Bande morte relative"}},
    {Word::kDeadBandAbs, {"Dead band, absolute", "Bande morte absolue"}},
    {Word::kSilence, {"Longest silence", "Silence maximal"}},
    {Word::kModel, {"Instrument", "Instrument"}},
    {Word::kLibraryVersion, {"Library version", "Version de la bibliothèque"}},
    {Word::kIdentification, {"Identification", "Identification"}},
    {Word::kLink, {"Link", "Liaison"}},
    {Word::kNoInstrument, {"(not connected)", "(non connecté)"}},
    {Word::kPleaseWait, {"Please wait...", "Veuillez patienter..."}},
    {Word::kNotANumber, {"This is not a number.", "Ce n'est pas un nombre."}},
    {Word::kNotWhole, {"This is not a whole number.", "Ce n'est pas un nombre entier."}},
    {Word::kOutOfRange, {"From % to %.", "De % à %."}},
    {Word::kNotAChoice, {"Choose one of the list.", "Choisissez dans la liste."}},
    {Word::kPortRange, {"A port such as COM5, or its number.", "Un port tel que COM5, ou son numéro."}},
    {Word::kNotTaken, {"The instrument does not take this: %", "L'instrument refuse : %"}},
    {Word::kNothingToSet, {"Nothing to set.", "Rien à régler."}},
    {Word::kYes, {"yes", "oui"}},
    {Word::kNo, {"no", "non"}},
}};

static_assert(IsInOrder(kFormWords));

std::string Say(Word word, Language language) { return kFormWords[static_cast<std::size_t>(word)].text.In(language); }

std::string Say(Word word, Language language, std::initializer_list<std::string> values) {
  return WithValues(Say(word, language), values);
}

}  // namespace ulix
