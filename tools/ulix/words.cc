#include "tools/ulix/words.h"

#include "platform/user_locale.h"

namespace ulix::cli {

constexpr std::array<CliTextRow, static_cast<std::size_t>(CliText::kWordCount)> kCliTexts = {{
    {CliText::kPromptKeys,
     {"Enter keeps what is in brackets, < goes back, > to the next page, >> to the end, ? says what is taken.",
      "Entrée garde ce qui est entre crochets, < revient, > page suivante, >> à la fin, ? dit ce qui est accepté."}},
    {CliText::kPromptStop,
     {"!, Ctrl-C or Ctrl-D stops, and nothing is changed.", "!, Ctrl-C ou Ctrl-D arrête, et rien n'est modifié."}},
    {CliText::kPageOf, {"% (page % of %)", "% (page % sur %)"}},
    {CliText::kTakesChoice,
     {"One of the list, by its number or its text.", "Un choix de la liste, par son numéro ou son texte."}},
    {CliText::kTakesOpenList, {"One of the list, or another.", "Un choix de la liste, ou un autre."}},
    {CliText::kTakesNumber, {"A number such as %.", "Un nombre tel que %."}},
    {CliText::kTakesText, {"A text; - makes it empty.", "Un texte ; - le vide."}},
    {CliText::kTakesLibraryText,
     {"Only characters of Windows-1252 are taken.", "Seuls les caractères de Windows-1252 sont acceptés."}},
    {CliText::kTakesCheckBox, {"y for yes, n for no.", "o pour oui, n pour non."}},
    {CliText::kTakesYesOrNo, {"y/n", "o/n"}},
    {CliText::kWhatChanges, {"What changes:", "Ce qui change :"}},
    {CliText::kNothingChanges, {"Nothing changes.", "Rien ne change."}},
    {CliText::kApplyThis, {"Apply this?", "Appliquer ?"}},
    {CliText::kNothingWasChanged, {"Cancelled, nothing was changed", "Annulé, rien n'a été modifié"}},
    {CliText::kNothingIsKept,
     {"Without --save FILE nothing is kept: what comes of it is shown at the end.",
      "Sans --save FICHIER rien n'est gardé : le résultat est affiché à la fin."}},
    {CliText::kKeptIn, {"Kept in %", "Gardé dans %"}},
    {CliText::kReadingFailed, {"reading failed", "lecture échouée"}},
    {CliText::kValue, {"value", "valeur"}},
    {CliText::kNoData, {"no data", "aucune donnée"}},
    {CliText::kLocalTimeOf, {"Local time, %", "Heure locale, %"}},
    {CliText::kLocalTimeFromTo, {"Local time, % to %", "Heure locale, du % au %"}},
    {CliText::kScanTitle, {"%, scan", "%, acquisition"}},
    {CliText::kMemoryTitle, {"%, memory block %", "%, bloc mémoire %"}},
    {CliText::kInstrument, {"Instrument", "Instrument"}},
    {CliText::kMeasurement, {"Measurement", "Mesure"}},
    {CliText::kSettings, {"Settings", "Réglages"}},
    {CliText::kPlot, {"Plot", "Courbes"}},
    {CliText::kStatistics, {"Statistics", "Statistiques"}},
    {CliText::kErrors, {"Errors", "Erreurs"}},
    {CliText::kReadings, {"Readings", "Lectures"}},
    {CliText::kModelWord, {"Model", "Modèle"}},
    {CliText::kDisplayName, {"Name", "Nom"}},
    {CliText::kComputer, {"Computer", "Ordinateur"}},
    {CliText::kMadeOn, {"Report made on", "Rapport établi le"}},
    {CliText::kFrom, {"From", "Du"}},
    {CliText::kTo, {"To", "Au"}},
    {CliText::kDuration, {"Duration", "Durée"}},
    {CliText::kRows, {"Rows", "Lignes"}},
    {CliText::kMemoryBlock, {"Memory block", "Bloc mémoire"}},
    {CliText::kUnit, {"Unit", "Unité"}},
    {CliText::kReadingCount, {"Count", "Nombre"}},
    {CliText::kFailedCount, {"Failed", "Échecs"}},
    {CliText::kLeast, {"Minimum", "Minimum"}},
    {CliText::kMost, {"Maximum", "Maximum"}},
    {CliText::kMean, {"Mean", "Moyenne"}},
    {CliText::kDeviation, {"Std. deviation", "Écart type"}},
    {CliText::kFirst, {"First", "Première"}},
    {CliText::kLast, {"Last", "Dernière"}},
    {CliText::kDrift, {"Drift per hour", "Dérive par heure"}},
    {CliText::kTime, {"Time", "Heure"}},
    {CliText::kNumber, {"No.", "N°"}},
    {CliText::kCode, {"Code", "Code"}},
    {CliText::kText, {"Text", "Texte"}},
    {CliText::kNoErrors, {"No reading failed.", "Aucune lecture n'a échoué."}},
    {CliText::kErrorsLeftOut,
     {"% more readings failed; the first % failures are listed.",
      "% autres lectures ont échoué ; les % premiers échecs sont listés."}},
    {CliText::kNoNumber, {"no number", "pas un nombre"}},
    {CliText::kNoReadings, {"There is no reading.", "Il n'y a aucune lecture."}},
    {CliText::kRowsShortened,
     {"Shortened: the first % and the last % of % rows. Statistics, errors and plot are of all of them.",
      "Abrégé : les % premières et les % dernières de % lignes. Statistiques, erreurs et courbes portent sur toutes."}},
    {CliText::kMadeBy, {"Made by ulix %", "Établi par ulix %"}},
    {CliText::kDays, {"% d % h", "% j % h"}},
    {CliText::kHours, {"% h % min", "% h % min"}},
    {CliText::kMinutes, {"% min % s", "% min % s"}},
    {CliText::kSeconds, {"% s", "% s"}},
    {CliText::kChannelsOf, {"Channels % to % of %", "Voies % à % sur %"}},
    {CliText::kChannelLabel, {"Channel", "Voie"}},
    {CliText::kOwnCode, {"The instrument's own code %", "Code propre à l'instrument : %"}},
    {CliText::kSimulated, {"simulated instrument", "instrument simulé"}},
    {CliText::kWaitingForReport,
     {"waiting for the first report; Ctrl-C ends", "en attente du premier relevé ; Ctrl-C termine"}},
    {CliText::kOneReport, {"% report", "% relevé"}},
    {CliText::kReports, {"% reports", "% relevés"}},
    {CliText::kReadingsFailed, {"% failed", "% en échec"}},
    {CliText::kCtrlCEnds, {"Ctrl-C ends", "Ctrl-C termine"}},
    {CliText::kMoreChannels, {"... and % more channels", "... et % autres voies"}},
    {CliText::kChannelHead, {"CHANNEL", "VOIE"}},
    {CliText::kValueHead, {"VALUE", "VALEUR"}},
    {CliText::kUnitHead, {"UNIT", "UNITÉ"}},
    {CliText::kTrendHead, {"TREND", "TENDANCE"}},
    {CliText::kErrorHead, {"ERROR", "ERREUR"}},
    {CliText::kIdHead, {"ID", "N°"}},
    {CliText::kNameHead, {"NAME", "NOM"}},
    {CliText::kBlockHead, {"BLOCK", "BLOC"}},
    {CliText::kSizeHead, {"SIZE", "TAILLE"}},
    {CliText::kRecordsHead, {"RECORDS", "MESURES"}},
    {CliText::kRecordingHead, {"RECORDING", "EN COURS"}},
    {CliText::kModelHead, {"MODEL", "MODÈLE"}},
    {CliText::kProgIdHead, {"PROGID", "PROGID"}},
    {CliText::kLinkHead, {"LINK", "LIAISON"}},
    {CliText::kChannelsHead, {"CHANNELS", "VOIES"}},
    {CliText::kNumberHead, {"NUMBER", "NUMÉRO"}},
    {CliText::kDeviceHead, {"DEVICE", "PÉRIPHÉRIQUE"}},
    {CliText::kKeyHead, {"KEY", "CLÉ"}},
    {CliText::kDefaultHead, {"DEFAULT", "DÉFAUT"}},
    {CliText::kTakesHead, {"TAKES", "ACCEPTE"}},
    {CliText::kOneRecord, {"% record", "% enregistrement"}},
    {CliText::kRecordCount, {"% records", "% enregistrements"}},
    {CliText::kProgramSent, {"Program sent", "Programme envoyé"}},
    {CliText::kProgramReRead, {"Program re-read", "Programme relu"}},
    {CliText::kConfigurationSent, {"configuration sent", "configuration envoyée"}},
    {CliText::kChannelSet, {"% set to %", "% mis à %"}},
    {CliText::kUnableToRead, {"Unable to read %", "Impossible de lire %"}},
    {CliText::kNoConfiguration, {"% holds no configuration", "% ne contient pas de configuration"}},
    {CliText::kUnableToWrite, {"Unable to write %", "Impossible d'écrire %"}},
    {CliText::kUnableToPrint, {"Unable to write to standard output", "Impossible d'écrire sur la sortie standard"}},
    {CliText::kCancelled, {"Cancelled", "Annulé"}},
    {CliText::kUnableToListen, {"Unable to listen on port %", "Impossible d'écouter sur le port %"}},
    {CliText::kNoTerminal, {"Unable to make a pseudo terminal", "Impossible de créer un pseudo-terminal"}},
    {CliText::kNoTerminalButTcp,
     {"Unable to make a pseudo terminal; --tcp PORT takes its place",
      "Impossible de créer un pseudo-terminal ; --tcp PORT le remplace"}},
    {CliText::kUnknownRequest, {"unknown request: %", "requête inconnue : %"}},
    {CliText::kNoCode, {"is not a code of any model", "n'est le code d'aucun modèle"}},
    {CliText::kNoCodeOf, {"is not a code of %", "n'est pas un code de %"}},
    {CliText::kDirectionHead, {"DIRECTION", "SENS"}},
    {CliText::kDecimalsHead, {"DECIMALS", "DÉCIMALES"}},
    {CliText::kTourConnection, {"A simulated Kelvo10 on a serial device", "Un Kelvo10 simulé sur un port série"}},
    {CliText::kTourConfiguration, {"A configuration is set and sent", "Une configuration est réglée et envoyée"}},
    {CliText::kTourScan, {"A scan every % ms", "Une acquisition toutes les % ms"}},
    {CliText::kTourOutput, {"The output steps", "La sortie change par paliers"}},
    {CliText::kTourDeadBand,
     {"A dead band keeps quiet what hardly changes", "Une bande morte tait ce qui ne change guère"}},
    {CliText::kTourPulledLine,
     {"The line is pulled, and plugged in again", "La ligne est débranchée, puis rebranchée"}},
    {CliText::kTourShown, {"ok: %", "ok : %"}},
    {CliText::kTourNotShown, {"NOT SHOWN: %", "NON MONTRÉ : %"}},
    {CliText::kTourAnswer, {"on % answers \"%\"", "sur % répond « % »"}},
    {CliText::kTourLines, {"% lines went over the wire", "% lignes sont passées sur la liaison"}},
    {CliText::kTourScans, {"% scans, every one with a value", "% acquisitions, toutes avec une valeur"}},
    {CliText::kTourFollows, {"OUT set to %, wired to IN, which reads %", "OUT mis à %, relié à IN, qui lit %"}},
    {CliText::kTourFewReports,
     {"with a dead band of %, % scans made only % reports",
      "avec une bande morte de %, % acquisitions n'ont donné que % relevés"}},
    {CliText::kTourPlotTitle, {"Kelvo10 with its line pulled for a while", "Kelvo10, ligne débranchée un moment"}},
    {CliText::kTourFailed, {"% readings failed: %", "% lectures ont échoué : %"}},
    {CliText::kTourRecovered,
     {"readings are back with the line plugged in again", "les lectures reprennent, la ligne rebranchée"}},
    {CliText::kTourCsv, {"CSV:  %", "CSV :     %"}},
    {CliText::kTourPlot, {"Plot: %", "Courbes : %"}},
    {CliText::kTourIncomplete,
     {"the tour did not show % of the things it is for", "la visite n'a pas montré % des choses prévues"}},
}};

static_assert(IsInOrder(kCliTexts));

namespace {

// Set before anything is shown.
Language& Chosen() {
  static Language language = platform::UserLanguage();
  return language;
}

}  // namespace

std::string Localized(CliText word, Language language) {
  const LocalizedText& text = kCliTexts[static_cast<std::size_t>(word)].text;
  return language == Language::kFrench ? text.fr : text.en;
}

std::string Localized(CliText word, Language language, std::initializer_list<std::string> values) {
  return WithValues(Localized(word, language), values);
}

std::string Localized(CliText word, std::initializer_list<std::string> values) {
  return Localized(word, ShownLanguage(), values);
}

Language ShownLanguage() { return Chosen(); }
void SetShownLanguage(Language language) { Chosen() = language; }

std::vector<std::string> Heads(std::initializer_list<CliText> words, Language language) {
  std::vector<std::string> heads;
  for (const CliText word : words) heads.push_back(Localized(word, language));
  return heads;
}

}  // namespace ulix::cli
