"""`ulix certificate` on certificates that others made: checked, shown, signed by others' programs, hostile.

Run as: python3 test_certificate_contract.py PATH_TO_ULIX [unittest arguments]
"""

import os
import pathlib
import re
import shutil
import subprocess
import unittest

from contract import ContractTest, main

DCC = """<?xml version='1.0' encoding='UTF-8'?>
{doctype}<dcc:digitalCalibrationCertificate xmlns:dcc='https://ptb.de/dcc' xmlns:si='https://ptb.de/si' schemaVersion='3.3.0'>
<dcc:administrativeData><dcc:dccSoftware><dcc:software><dcc:name><dcc:content>a program</dcc:content></dcc:name>
<dcc:release>v1.0.0</dcc:release></dcc:software></dcc:dccSoftware><dcc:coreData>
<dcc:countryCodeISO3166_1>FR</dcc:countryCodeISO3166_1><dcc:usedLangCodeISO639_1>en</dcc:usedLangCodeISO639_1>
<dcc:mandatoryLangCodeISO639_1>en</dcc:mandatoryLangCodeISO639_1><dcc:uniqueIdentifier>LAB-1</dcc:uniqueIdentifier>
<dcc:beginPerformanceDate>2026-01-30</dcc:beginPerformanceDate><dcc:endPerformanceDate>{end}</dcc:endPerformanceDate>
<dcc:performanceLocation>laboratory</dcc:performanceLocation></dcc:coreData>
<dcc:items><dcc:item><dcc:name><dcc:content>Probe</dcc:content></dcc:name><dcc:identifications><dcc:identification>
<dcc:issuer>manufacturer</dcc:issuer><dcc:value>REF-7</dcc:value></dcc:identification></dcc:identifications></dcc:item></dcc:items>
<dcc:calibrationLaboratory><dcc:contact><dcc:name><dcc:content>Laboratory</dcc:content></dcc:name><dcc:location><dcc:city>Brest</dcc:city>
</dcc:location></dcc:contact></dcc:calibrationLaboratory><dcc:respPersons><dcc:respPerson><dcc:person><dcc:name>
<dcc:content>A. Operator</dcc:content></dcc:name></dcc:person></dcc:respPerson></dcc:respPersons>
<dcc:customer><dcc:name><dcc:content>&lt;script&gt;alert(1)&lt;/script&gt;</dcc:content></dcc:name><dcc:location><dcc:city>Lyon</dcc:city></dcc:location>
</dcc:customer></dcc:administrativeData><dcc:measurementResults><dcc:measurementResult><dcc:name><dcc:content>As found</dcc:content>
</dcc:name><dcc:results><dcc:result><dcc:name><dcc:content>Results</dcc:content></dcc:name><dcc:data><dcc:list refType='gp_table1'>
<dcc:quantity refType='basic_referenceValue'><dcc:name><dcc:content>Reference</dcc:content></dcc:name><si:realListXMLList>
<si:valueXMLList>{values}</si:valueXMLList><si:unitXMLList>\\degreecelsius</si:unitXMLList></si:realListXMLList></dcc:quantity>
</dcc:list></dcc:data></dcc:result></dcc:results></dcc:measurementResult></dcc:measurementResults></dcc:digitalCalibrationCertificate>
"""

SIGNATURE = """<ds:Signature xmlns:ds='http://www.w3.org/2000/09/xmldsig#'><ds:SignedInfo>
<ds:CanonicalizationMethod Algorithm='http://www.w3.org/2001/10/xml-exc-c14n#'/>
<ds:SignatureMethod Algorithm='http://www.w3.org/2001/04/xmldsig-more#rsa-sha256'/><ds:Reference URI=''><ds:Transforms>
<ds:Transform Algorithm='http://www.w3.org/2000/09/xmldsig#enveloped-signature'/></ds:Transforms>
<ds:DigestMethod Algorithm='http://www.w3.org/2001/04/xmlenc#sha256'/><ds:DigestValue/></ds:Reference></ds:SignedInfo><ds:SignatureValue/>
<ds:KeyInfo>{key}</ds:KeyInfo></ds:Signature>"""


def schema_folder():
    if "ULIX_DCC_SCHEMA" in os.environ:
        return pathlib.Path(os.environ["ULIX_DCC_SCHEMA"])
    for folder in pathlib.Path(__file__).resolve().parents:
        if (folder / "shared/reference/dcc").is_dir():
            return folder / "shared/reference/dcc"
    return None


class CertificateTest(ContractTest):
    def certificate(self, name="dcc.xml", doctype="", end="2026-01-31", values="1.5 2.5", signature=""):
        path = self.folder / name
        text = DCC.format(doctype=doctype, end=end, values=values)
        path.write_text(text.replace("</dcc:digitalCalibrationCertificate>", signature + "</dcc:digitalCalibrationCertificate>"))
        return path


class Checks(CertificateTest):
    def test_a_sound_one_and_what_is_wrong_with_others(self):
        self.assertEqual(self.ulix("certificate", "check", self.certificate()),
                         (0, "certificate LAB-1 of Laboratory, version 3.3.0\nsignature: none\n", ""))
        status, out, err = self.ulix("certificate", "check", self.certificate(end="2026-01-29"), "--lang", "fr")
        self.assertEqual(status, 1)
        self.assertIn("erreur : l'étalonnage finit (2026-01-29) avant de commencer (2026-01-30)\n", out)
        for arguments, message in {("values", "1.5 2,5"): "'2,5' is no number", ("values", "inf"): "'inf' is no number",
                                   ("doctype", "<!DOCTYPE a [<!ENTITY b SYSTEM 'file:///etc/passwd'>]>"): "document type"}.items():
            status, out, err = self.ulix("certificate", "check", self.certificate(**dict([arguments])))
            self.assertEqual((status, out), (1, ""))
            self.assertIn(message, err)
        self.assertEqual(self.ulix("certificate", "check", self.folder / "none.xml")[0], 1)
        self.assertEqual(self.ulix("certificate", "show", self.certificate(), "--trusted", "a.pem")[0], 2)

    def test_shown_as_text_and_as_a_page_without_its_markup(self):
        out = self.succeed("certificate", "show", self.certificate())
        self.assertRegex(out, r"(?m)^1\.5\s*$")
        page = self.folder / "page.html"
        self.succeed("certificate", "show", self.certificate(), page)
        self.assertIn("&lt;script&gt;", page.read_text("utf-8"))
        self.assertNotIn("<script>", page.read_text("utf-8"))

    @unittest.skipUnless(hasattr(os, "mkfifo"), "no pipes")
    def test_a_pipe_is_no_certificate(self):
        pipe = self.folder / "pipe.xml"
        os.mkfifo(pipe)
        status, _, err = self.ulix("certificate", "check", pipe)
        self.assertEqual(status, 1)
        self.assertIn("pipe.xml is no file", err)

    def test_french_numbers_have_commas(self):
        self.assertRegex(self.succeed("certificate", "show", self.certificate(), "--lang", "fr"), r"(?m)^1,5\s*$")

    def test_schema_and_rules(self):
        folder = schema_folder()
        if folder is None:
            self.skipTest("skipped: no schema")
        status, out, _ = self.ulix("certificate", "check", folder / "valid-temperature.xml", "--schema", folder / "schema")
        self.assertEqual(status, 0)
        self.assertIn("schema: no error\n", out)
        self.assertIn("rules: ", out)
        status, out, _ = self.ulix("certificate", "check", self.certificate(values="1.5"), "--schema", folder / "schema")
        self.assertEqual(status, 1, "the rules ask for methods and conditions" if "rules: not" not in out else "")
        status, out, _ = self.ulix("certificate", "show", folder / "dcc_gp_temperature_typical_v12.xml")
        self.assertEqual(status, 0)
        self.assertIn("-0.084", out)


@unittest.skipUnless(shutil.which("xmlsec1") and shutil.which("openssl"), "no xmlsec1")
class Signatures(CertificateTest):
    def key(self, name):
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", self.folder / f"{name}.key", "-out",
                        self.folder / f"{name}.pem", "-days", "30", "-subj", f"/CN={name}"], check=True, capture_output=True)
        return self.folder / f"{name}.key", self.folder / f"{name}.pem"

    def sign(self, path, key, certificate):
        signed = path.with_suffix(".signed.xml")
        subprocess.run(["xmlsec1", "--sign", "--privkey-pem", f"{key},{certificate}", "--output", signed, path], check=True, capture_output=True)
        return signed

    def check(self, path, trusted):
        return self.ulix("certificate", "check", path, "--trusted", trusted)

    def test_a_signature_holds_until_a_digit_is_changed(self):
        key, pem = self.key("laboratory")
        _, other = self.key("stranger")
        x509 = SIGNATURE.format(key="<ds:X509Data><ds:X509Certificate/></ds:X509Data>")
        signed = self.sign(self.certificate(signature=x509), key, pem)
        status, out, _ = self.check(signed, pem)
        self.assertEqual(status, 0)
        self.assertIn("signature: holds\n", out)
        self.assertIn("not verified", self.succeed("certificate", "check", signed))
        self.assertEqual(self.check(signed, other)[0], 1, "a stranger's certificate")
        changed = self.folder / "changed.xml"
        changed.write_text(signed.read_text().replace("1.5 2.5", "1.5 2.6"))
        self.assertEqual(self.check(changed, pem)[0], 1)
        self.assertEqual(self.check(self.certificate(), pem)[0], 1, "not signed")

    def test_a_key_that_only_the_document_names_is_not_trusted(self):
        key, pem = self.key("stranger")
        _, ours = self.key("laboratory")
        signed = self.sign(self.certificate(signature=SIGNATURE.format(key="<ds:KeyValue/>")), key, pem)
        self.assertRegex(signed.read_text(), re.compile("KeyValue>.*RSAKeyValue", re.S))
        self.assertEqual(self.check(signed, ours)[0], 1)


if __name__ == "__main__":
    main()
