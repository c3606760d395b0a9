#include "forms/words.h"

namespace ulix {

constexpr std::array<FormTextRow, static_cast<std::size_t>(FormText::kNo) + 1> kFormTexts = {{
    {FormText::kOk, {"OK", "OK"}},
    {FormText::kCancel, {"Cancel", "Annuler"}},
    {FormText::kCommunication, {"Communication", "Communication"}},
    {FormText::kConfiguration, {"Configuration", "Configuration"}},
    {FormText::kPropertiesVerb, {"&Properties", "&Propriétés"}},
    {FormText::kGeneral, {"General", "Général"}},
    {FormText::kChannel, {"Channel %", "Voie %"}},
    {FormText::kChannels, {"Channels", "Voies"}},
    {FormText::kGroup, {"Group %", "Groupe %"}},
    {FormText::kName, {"Name", "Nom"}},
    {FormText::kOutputs, {"Outputs", "Sorties"}},
    {FormText::kAbout, {"About", "À propos"}},
    {FormText::kPort, {"Serial port", "Port série"}},
    {FormText::kSpeed, {"Speed", "Vitesse"}},
    {FormText::kDataBits, {"Data bits", "Bits de données"}},
    {FormText::kStopBits, {"Stop bits", "Bits d'arrêt"}},
    {FormText::kParity, {"Parity", "Parité"}},
    {FormText::kFlow, {"Flow control", "Contrôle de flux"}},
    {FormText::kHost, {"Network host (empty: serial)", "Hôte réseau (vide : série)"}},
    {FormText::kTcpPort, {"TCP port", "Port TCP"}},
    {FormText::kUsbLibrary, {"USB library", "Bibliothèque USB"}},
    {FormText::kFound, {"found", "trouvée"}},
    {FormText::kNotFound, {"not found", "introuvable"}},
    {FormText::kPeriod, {"Period", "Période"}},
    {FormText::kDeadBandPercent, {"Dead band, relative", "Bande morte relative"}},
    {FormText::kDeadBandAbs, {"Dead band, absolute", "Bande morte absolue"}},
    {FormText::kSilence, {"Longest silence", "Silence maximal"}},
    {FormText::kModel, {"Instrument", "Instrument"}},
    {FormText::kLibraryVersion, {"Library version", "Version de la bibliothèque"}},
    {FormText::kIdentification, {"Identification", "Identification"}},
    {FormText::kLink, {"Link", "Liaison"}},
    {FormText::kNoInstrument, {"(not connected)", "(non connecté)"}},
    {FormText::kPleaseWait, {"Please wait...", "Veuillez patienter..."}},
    {FormText::kNotANumber, {"This is not a number.", "Ce n'est pas un nombre."}},
    {FormText::kNotWhole, {"This is not a whole number.", "Ce n'est pas un nombre entier."}},
    {FormText::kOutOfRange, {"From % to %.", "De % à %."}},
    {FormText::kNotAChoice, {"Choose one of the list.", "Choisissez dans la liste."}},
    {FormText::kPortRange, {"A port such as COM5, or its number.", "Un port tel que COM5, ou son numéro."}},
    {FormText::kNotTaken, {"The instrument does not take this: %", "L'instrument refuse : %"}},
    {FormText::kNothingToSet, {"Nothing to set.", "Rien à régler."}},
    {FormText::kYes, {"yes", "oui"}},
    {FormText::kNo, {"no", "non"}},
}};

static_assert(IsInOrder(kFormTexts));

std::string Localized(FormText word, Language language) {
  return kFormTexts[static_cast<std::size_t>(word)].text.In(language);
}

std::string Localized(FormText word, Language language, std::initializer_list<std::string> values) {
  return WithValues(Localized(word, language), values);
}

}  // namespace ulix
