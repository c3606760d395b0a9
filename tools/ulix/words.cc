#include "tools/ulix/words.h"

#include "platform/user_locale.h"

namespace ulix::cli {

constexpr std::array<CliWordRow, static_cast<std::size_t>(CliWord::kWordCount)> kCliWords = {{
    {CliWord::kPromptKeys,
     {"Enter keeps what is in brackets, < goes back, > to the next page, >> to the end, ? says what is taken.",
      "Entrée garde ce qui est entre crochets, < revient, > page suivante, >> à la fin, ? dit ce qui est accepté."}},
    {CliWord::kPromptStop,
     {"!, Ctrl-C or Ctrl-D stops, and nothing is changed.", "!, Ctrl-C ou Ctrl-D arrête, et rien n'est modifié."}},
    {CliWord::kPageOf, {"% (page % of %)", "% (page % sur %)"}},
    {CliWord::kTakesChoice,
     {"One of the list, by its number or its text.", "Un choix de la liste, par son numéro ou son texte."}},
    {CliWord::kTakesOpenList, {"One of the list, or another.", "Un choix de la liste, ou un autre."}},
    {CliWord::kTakesNumber, {"A number such as %.", "Un nombre tel que %."}},
    {CliWord::kTakesText, {"A text; - makes it empty.", "Un texte ; - le vide."}},
    {CliWord::kTakesLibraryText,
     {"Only characters of Windows-1252 are taken.", "Seuls les caractères de Windows-1252 sont acceptés."}},
    {CliWord::kTakesTick, {"y for yes, n for no.", "o pour oui, n pour non."}},
    {CliWord::kTakesYesOrNo, {"y/n", "o/n"}},
    {CliWord::kWhatChanges, {"What changes:", "Ce qui change :"}},
    {CliWord::kNothingChanges, {"Nothing changes.", "Rien ne change."}},
    {CliWord::kApplyThis, {"Apply this?", "Appliquer ?"}},
    {CliWord::kNothingWasChanged, {"Cancelled, nothing was changed", "Annulé, rien n'a été modifié"}},
    {CliWord::kNothingIsKept,
     {"Without --save FILE nothing is kept: what comes of it is shown at the end.",
      "Sans --save FICHIER rien n'est gardé : le résultat est affiché à la fin."}},
    {CliWord::kKeptIn, {"Kept in %", "Gardé dans %"}},
    {CliWord::kReadingFailed, {"reading failed", "lecture échouée"}},
    {CliWord::kValue, {"value", "valeur"}},
    {CliWord::kNoData, {"no data", "aucune donnée"}},
    {CliWord::kLocalTimeOf, {"Local time, %", "Heure locale, %"}},
    {CliWord::kLocalTimeFromTo, {"Local time, % to %", "Heure locale, du % au %"}},
    {CliWord::kScanTitle, {"%, scan", "%, acquisition"}},
    {CliWord::kMemoryTitle, {"%, memory block %", "%, bloc mémoire %"}},
    {CliWord::kInstrument, {"Instrument", "Instrument"}},
    {CliWord::kMeasurement, {"Measurement", "Mesure"}},
    {CliWord::kSettings, {"Settings", "Réglages"}},
    {CliWord::kPlot, {"Plot", "Courbes"}},
    {CliWord::kStatistics, {"Statistics", "Statistiques"}},
    {CliWord::kErrors, {"Errors", "Erreurs"}},
    {CliWord::kReadings, {"Readings", "Lectures"}},
    {CliWord::kModelWord, {"Model", "Modèle"}},
    {CliWord::kDisplayName, {"Name", "Nom"}},
    {CliWord::kComputer, {"Computer", "Ordinateur"}},
    {CliWord::kMadeOn, {"Report made on", "Rapport établi le"}},
    {CliWord::kFrom, {"From", "Du"}},
    {CliWord::kTo, {"To", "Au"}},
    {CliWord::kDuration, {"Duration", "Durée"}},
    {CliWord::kRows, {"Rows", "Lignes"}},
    {CliWord::kMemoryBlock, {"Memory block", "Bloc mémoire"}},
    {CliWord::kUnit, {"Unit", "Unité"}},
    {CliWord::kReadingCount, {"Count", "Nombre"}},
    {CliWord::kFailedCount, {"Failed", "Échecs"}},
    {CliWord::kLeast, {"Minimum", "Minimum"}},
    {CliWord::kMost, {"Maximum", "Maximum"}},
    {CliWord::kMean, {"Mean", "Moyenne"}},
    {CliWord::kDeviation, {"Std. deviation", "Écart type"}},
    {CliWord::kFirst, {"First", "Première"}},
    {CliWord::kLast, {"Last", "Dernière"}},
    {CliWord::kDrift, {"Drift per hour", "Dérive par heure"}},
    {CliWord::kTime, {"Time", "Heure"}},
    {CliWord::kNumber, {"No.", "N°"}},
    {CliWord::kCode, {"Code", "Code"}},
    {CliWord::kText, {"Text", "Texte"}},
    {CliWord::kNoErrors, {"No reading failed.", "Aucune lecture n'a échoué."}},
    {CliWord::kErrorsLeftOut,
     {"% more readings failed; the first % failures are listed.",
      "% autres lectures ont échoué ; les % premiers échecs sont listés."}},
    {CliWord::kNoNumber, {"no number", "pas un nombre"}},
    {CliWord::kNoReadings, {"There is no reading.", "Il n'y a aucune lecture."}},
    {CliWord::kRowsShortened,
     {"Shortened: the first % and the last % of % rows. Statistics, errors and plot are of all of them.",
      "Abrégé : les % premières et les % dernières de % lignes. Statistiques, erreurs et courbes portent sur toutes."}},
    {CliWord::kMadeBy, {"Made by ulix %", "Établi par ulix %"}},
    {CliWord::kDays, {"% d % h", "% j % h"}},
    {CliWord::kHours, {"% h % min", "% h % min"}},
    {CliWord::kMinutes, {"% min % s", "% min % s"}},
    {CliWord::kSeconds, {"% s", "% s"}},
    {CliWord::kChannelsOf, {"Channels % to % of %", "Voies % à % sur %"}},
    {CliWord::kChannelLabel, {"Channel", "Voie"}},
    {CliWord::kOwnCode, {"The instrument's own code %", "Code propre à l'instrument : %"}},
    {CliWord::kSimulated, {"simulated instrument", "instrument simulé"}},
    {CliWord::kWaitingForReport,
     {"waiting for the first report; Ctrl-C ends", "en attente du premier relevé ; Ctrl-C termine"}},
    {CliWord::kOneReport, {"% report", "% relevé"}},
    {CliWord::kReports, {"% reports", "% relevés"}},
    {CliWord::kReadingsFailed, {"% failed", "% en échec"}},
    {CliWord::kCtrlCEnds, {"Ctrl-C ends", "Ctrl-C termine"}},
    {CliWord::kMoreChannels, {"... and % more channels", "... et % autres voies"}},
    {CliWord::kChannelHead, {"CHANNEL", "VOIE"}},
    {CliWord::kValueHead, {"VALUE", "VALEUR"}},
    {CliWord::kUnitHead, {"UNIT", "UNITÉ"}},
    {CliWord::kTrendHead, {"TREND", "TENDANCE"}},
    {CliWord::kErrorHead, {"ERROR", "ERREUR"}},
    {CliWord::kIdHead, {"ID", "N°"}},
    {CliWord::kNameHead, {"NAME", "NOM"}},
    {CliWord::kBlockHead, {"BLOCK", "BLOC"}},
    {CliWord::kSizeHead, {"SIZE", "TAILLE"}},
    {CliWord::kRecordsHead, {"RECORDS", "MESURES"}},
    {CliWord::kRecordingHead, {"RECORDING", "EN COURS"}},
    {CliWord::kModelHead, {"MODEL", "MODÈLE"}},
    {CliWord::kProgIdHead, {"PROGID", "PROGID"}},
    {CliWord::kLinkHead, {"LINK", "LIAISON"}},
    {CliWord::kChannelsHead, {"CHANNELS", "VOIES"}},
    {CliWord::kNumberHead, {"NUMBER", "NUMÉRO"}},
    {CliWord::kDeviceHead, {"DEVICE", "PÉRIPHÉRIQUE"}},
    {CliWord::kKeyHead, {"KEY", "CLÉ"}},
    {CliWord::kDefaultHead, {"DEFAULT", "DÉFAUT"}},
    {CliWord::kTakesHead, {"TAKES", "ACCEPTE"}},
    {CliWord::kOneRecord, {"% record", "% enregistrement"}},
    {CliWord::kRecordCount, {"% records", "% enregistrements"}},
    {CliWord::kProgramSent, {"Program sent", "Programme envoyé"}},
    {CliWord::kProgramReRead, {"Program re-read", "Programme relu"}},
    {CliWord::kConfigurationSent, {"configuration sent", "configuration envoyée"}},
    {CliWord::kChannelSet, {"% set to %", "% mis à %"}},
    {CliWord::kUnableToRead, {"Unable to read %", "Impossible de lire %"}},
    {CliWord::kNoConfiguration, {"% holds no configuration", "% ne contient pas de configuration"}},
    {CliWord::kUnableToWrite, {"Unable to write %", "Impossible d'écrire %"}},
    {CliWord::kUnableToPrint, {"Unable to write to standard output", "Impossible d'écrire sur la sortie standard"}},
    {CliWord::kCancelled, {"Cancelled", "Annulé"}},
    {CliWord::kUnableToListen, {"Unable to listen on port %", "Impossible d'écouter sur le port %"}},
    {CliWord::kNoTerminal, {"Unable to make a pseudo terminal", "Impossible de créer un pseudo-terminal"}},
    {CliWord::kNoTerminalButTcp,
     {"Unable to make a pseudo terminal; --tcp PORT takes its place",
      "Impossible de créer un pseudo-terminal ; --tcp PORT le remplace"}},
    {CliWord::kUnknownRequest, {"unknown request: %", "requête inconnue : %"}},
    {CliWord::kNoCode, {"is not a code of any model", "n'est le code d'aucun modèle"}},
    {CliWord::kNoCodeOf, {"is not a code of %", "n'est pas un code de %"}},
    {CliWord::kDirectionHead, {"DIRECTION", "SENS"}},
    {CliWord::kDecimalsHead, {"DECIMALS", "DÉCIMALES"}},
    {CliWord::kTourConnection, {"A simulated Kelvo10 on a serial device", "Un Kelvo10 simulé sur un port série"}},
    {CliWord::kTourConfiguration, {"A configuration is set and sent", "Une configuration est réglée et envoyée"}},
    {CliWord::kTourScan, {"A scan every % ms", "Une acquisition toutes les % ms"}},
    {CliWord::kTourOutput, {"The output steps", "La sortie change par paliers"}},
    {CliWord::kTourDeadBand,
     {"A dead band keeps quiet what hardly changes", "Une bande morte tait ce qui ne change guère"}},
    {CliWord::kTourPulledLine,
     {"The line is pulled, and plugged in again", "La ligne est débranchée, puis rebranchée"}},
    {CliWord::kTourShown, {"ok: %", "ok : %"}},
    {CliWord::kTourNotShown, {"NOT SHOWN: %", "NON MONTRÉ : %"}},
    {CliWord::kTourAnswer, {"on % answers \"%\"", "sur % répond « % »"}},
    {CliWord::kTourLines, {"% lines went over the wire", "% lignes sont passées sur la liaison"}},
    {CliWord::kTourScans, {"% scans, every one with a value", "% acquisitions, toutes avec une valeur"}},
    {CliWord::kTourFollows, {"OUT set to %, wired to IN, which reads %", "OUT mis à %, relié à IN, qui lit %"}},
    {CliWord::kTourFewReports,
     {"with a dead band of %, % scans made only % reports",
      "avec une bande morte de %, % acquisitions n'ont donné que % relevés"}},
    {CliWord::kTourPlotTitle, {"Kelvo10 with its line pulled for a while", "Kelvo10, ligne débranchée un moment"}},
    {CliWord::kTourFailed, {"% readings failed: %", "% lectures ont échoué : %"}},
    {CliWord::kTourRecovered,
     {"readings are back with the line plugged in again", "les lectures reprennent, la ligne rebranchée"}},
    {CliWord::kTourCsv, {"CSV:  %", "CSV :     %"}},
    {CliWord::kTourPlot, {"Plot: %", "Courbes : %"}},
    {CliWord::kTourIncomplete,
     {"the tour did not show % of the things it is for", "la visite n'a pas montré % des choses prévues"}},
}};

static_assert(IsInOrder(kCliWords));

namespace {

// Set before anything is shown.
Language& Chosen() {
  static Language language = platform::UserLanguage();
  return language;
}

}  // namespace

std::string Say(CliWord word, Language language) {
  const Words& text = kCliWords[static_cast<std::size_t>(word)].text;
  return language == Language::kFrench ? text.fr : text.en;
}

std::string Say(CliWord word, Language language, std::initializer_list<std::string> values) {
  return WithValues(Say(word, language), values);
}

std::string Say(CliWord word, std::initializer_list<std::string> values) { return Say(word, ShownLanguage(), values); }

Language ShownLanguage() { return Chosen(); }
void SetShownLanguage(Language language) { Chosen() = language; }

std::vector<std::string> Heads(std::initializer_list<CliWord> words, Language language) {
  std::vector<std::string> heads;
  for (const CliWord word : words) heads.push_back(Say(word, language));
  return heads;
}

}  // namespace ulix::cli
