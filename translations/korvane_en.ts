<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_US" sourcelanguage="en_US">
<context>
    <name>CopyFormat</name>
    <message numerus="yes">
        <source>%1 line(s) from %2 to %3</source>
        <translation>
            <numerusform>%1 line from %2 to %3</numerusform>
            <numerusform>%1 lines from %2 to %3</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>line(s) %1</source>
        <translation>
            <numerusform>line %1</numerusform>
            <numerusform>lines %1</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>FileNotices</name>
    <message numerus="yes">
        <source>%1 line(s) given up</source>
        <translation>
            <numerusform>%1 line given up</numerusform>
            <numerusform>%1 lines given up</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%1 rule(s) too slow for this file; the first, %2: “%3”</source>
        <translation>
            <numerusform>%1 rule too slow for this file; the first, %2: “%3”</numerusform>
            <numerusform>%1 rules too slow for this file; the first, %2: “%3”</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>LineCopier</name>
    <message numerus="yes">
        <source>%1 line(s) copied, without the %2 that rules hide</source>
        <translation>
            <numerusform>%1 line copied, without the %2 that rules hide</numerusform>
            <numerusform>%1 lines copied, without the %2 that rules hide</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%1 line(s) copied</source>
        <translation>
            <numerusform>%1 line copied</numerusform>
            <numerusform>%1 lines copied</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%1 of %2 line(s) copied: the others cannot be read</source>
        <translation>
            <numerusform>%1 of %2 line copied: the others cannot be read</numerusform>
            <numerusform>%1 of %2 lines copied: the others cannot be read</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>LogRowPainter</name>
    <message numerus="yes">
        <source>%1 line(s) hidden</source>
        <translation>
            <numerusform>%1 line hidden</numerusform>
            <numerusform>%1 lines hidden</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>RuleImport</name>
    <message numerus="yes">
        <source>%1 rule(s)</source>
        <translation>
            <numerusform>%1 rule</numerusform>
            <numerusform>%1 rules</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>SlowRules</name>
    <message numerus="yes">
        <source>%1 line(s)</source>
        <translation>
            <numerusform>%1 line</numerusform>
            <numerusform>%1 lines</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>korvane::AppDocumentController</name>
    <message numerus="yes">
        <source>&amp;Wait for Them</source>
        <translation>
            <numerusform>&amp;Wait for It</numerusform>
            <numerusform>&amp;Wait for Them</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%1 file(s) cannot be opened.</source>
        <translation>
            <numerusform>%1 file cannot be opened.</numerusform>
            <numerusform>%1 files cannot be opened.</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>korvane::DocumentTabs</name>
    <message numerus="yes">
        <source>%1 new line(s)</source>
        <translation>
            <numerusform>%1 new line</numerusform>
            <numerusform>%1 new lines</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>korvane::EndFollower</name>
    <message numerus="yes">
        <source>%1 new line(s)</source>
        <translation>
            <numerusform>%1 new line</numerusform>
            <numerusform>%1 new lines</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>korvane::FileInfoPopover</name>
    <message numerus="yes">
        <source>%1 (%2 byte(s))</source>
        <translation>
            <numerusform>%1 (%2 byte)</numerusform>
            <numerusform>%1 (%2 bytes)</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>korvane::FooterViewController</name>
    <message numerus="yes">
        <source>%1 byte(s)</source>
        <translation>
            <numerusform>%1 byte</numerusform>
            <numerusform>%1 bytes</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%1 line(s)</source>
        <translation>
            <numerusform>%1 line</numerusform>
            <numerusform>%1 lines</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%1 of %2 line(s)</source>
        <translation>
            <numerusform>%1 of %2 line</numerusform>
            <numerusform>%1 of %2 lines</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>korvane::HiddenLinesMenu</name>
    <message numerus="yes">
        <source>Left Out, with &amp;%n Line(s) Around</source>
        <translation>
            <numerusform>Left Out, with &amp;%n Line Around</numerusform>
            <numerusform>Left Out, with &amp;%n Lines Around</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>korvane::LogViewController</name>
    <message numerus="yes">
        <source>There is no line %1: the file has %2 line(s)</source>
        <translation>
            <numerusform>There is no line %1: the file has %2 line</numerusform>
            <numerusform>There is no line %1: the file has %2 lines</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>Not marked: more than %1 line(s) are selected</source>
        <translation>
            <numerusform>Not marked: more than %1 line is selected</numerusform>
            <numerusform>Not marked: more than %1 lines are selected</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>korvane::MainToolBar</name>
    <message numerus="yes">
        <source>%1 line(s)</source>
        <translation>
            <numerusform>%1 line</numerusform>
            <numerusform>%1 lines</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>korvane::OverviewStrip</name>
    <message numerus="yes">
        <source>%1 line(s) with a match</source>
        <translation>
            <numerusform>%1 line with a match</numerusform>
            <numerusform>%1 lines with a match</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%1 marked line(s)</source>
        <translation>
            <numerusform>%1 marked line</numerusform>
            <numerusform>%1 marked lines</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>korvane::RuleForm</name>
    <message numerus="yes">
        <source>Matches %1 of the %2 line(s) on the screen, and is too slow for %3 of them.</source>
        <translation>
            <numerusform>Matches %1 of the %2 line on the screen, and is too slow for %3 of them.</numerusform>
            <numerusform>Matches %1 of the %2 lines on the screen, and is too slow for %3 of them.</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>Matches %1 of the %2 line(s) on the screen.</source>
        <translation>
            <numerusform>Matches %1 of the %2 line on the screen.</numerusform>
            <numerusform>Matches %1 of the %2 lines on the screen.</numerusform>
        </translation>
    </message>
</context>
</TS>
