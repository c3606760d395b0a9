{ Writes the Pascal unit of a type library, as the development environments do: import_types LIBRARY FOLDER.
  Run it where the library's host will be, on Windows or under Wine. }
program import_types;

{$mode objfpc}{$H+}{$apptype console}

uses
  SysUtils, Classes, ActiveX, TypeLib;

var
  ImportedUnit, Package, Registration: string;
  Dependencies, Source: TStringList;
begin
  CoInitialize(nil);
  Dependencies := TStringList.Create;
  Source := TStringList.Create;
  Source.Text := ImportTypelib(WideString(ParamStr(1)), ImportedUnit, Dependencies, False, False, False, Package,
    Registration);
  Source.SaveToFile(IncludeTrailingPathDelimiter(ParamStr(2)) + ImportedUnit + '.pas');
  Source.Free;
  Dependencies.Free;
  CoUninitialize;
end.
