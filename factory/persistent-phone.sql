PRAGMA foreign_keys=OFF;
BEGIN TRANSACTION;
CREATE TABLE PhoneProvider (
    Id INTEGER PRIMARY KEY,
    Name VARCHAR(32) NOT NULL UNIQUE,
    Registrar VARCHAR(255) NOT NULL DEFAULT '',
    Proxy VARCHAR(255) NOT NULL DEFAULT '',
    Transport VARCHAR(3) NOT NULL DEFAULT 'udp' CHECK (Transport IN ('udp', 'tcp', 'tls')),
    RegisterSeconds INTEGER UNSIGNED NOT NULL DEFAULT 600
);
INSERT INTO PhoneProvider VALUES(0,'','','','udp',600);
INSERT INTO PhoneProvider VALUES(1,'voice','sip.isp.example','proxy.isp.example','tls',600);
CREATE TABLE PhoneAccount (
    Id INTEGER PRIMARY KEY,
    ProviderId INTEGER NOT NULL DEFAULT 0 REFERENCES PhoneProvider(Id),
    Number VARCHAR(32) NOT NULL UNIQUE,
    DisplayName TEXT NOT NULL DEFAULT '',
    UserName TEXT NOT NULL DEFAULT '',
    Password TEXT NOT NULL DEFAULT '',
    IsEnabled INTEGER NOT NULL DEFAULT 1
);
INSERT INTO PhoneAccount VALUES(0,0,'','','','',0);
INSERT INTO PhoneAccount VALUES(1,1,'+49301234560','Visser','301234560','aurora-7',1);
INSERT INTO PhoneAccount VALUES(2,1,'+49301234561','Visser Office','301234561','aurora-8',1);
INSERT INTO PhoneAccount VALUES(3,1,'+49301234562','Fax','301234562','aurora-9',0);
CREATE TABLE PhoneLine (
    Id INTEGER PRIMARY KEY,
    Name VARCHAR(16) NOT NULL UNIQUE,
    Kind VARCHAR(8) NOT NULL DEFAULT 'analogue' CHECK (Kind IN ('analogue', 'cordless', 'ip')),
    AccountId INTEGER NOT NULL DEFAULT 0 REFERENCES PhoneAccount(Id),
    RingsFor TEXT NOT NULL DEFAULT '',
    CallWaiting INTEGER NOT NULL DEFAULT 1,
    GainTenthDb INTEGER NOT NULL DEFAULT 0
);
INSERT INTO PhoneLine VALUES(0,'','analogue',0,'',1,0);
INSERT INTO PhoneLine VALUES(1,'FXS1','analogue',1,'+49301234560',1,0);
INSERT INTO PhoneLine VALUES(2,'FXS2','analogue',3,'+49301234562',0,-30);
INSERT INTO PhoneLine VALUES(3,'Handset 1','cordless',2,'+49301234560 +49301234561',1,0);
CREATE TABLE Codec (
    Id INTEGER PRIMARY KEY,
    Name VARCHAR(16) NOT NULL UNIQUE,
    Rank INTEGER NOT NULL DEFAULT 10,
    PacketMs INTEGER UNSIGNED NOT NULL DEFAULT 20,
    IsEnabled INTEGER NOT NULL DEFAULT 1
);
INSERT INTO Codec VALUES(1,'G.722',10,20,1);
INSERT INTO Codec VALUES(2,'PCMA',20,20,1);
INSERT INTO Codec VALUES(3,'PCMU',30,20,0);
CREATE TABLE CallRule ( -- how a dialled number leaves the house
    Id INTEGER PRIMARY KEY,
    Prefix VARCHAR(32) NOT NULL UNIQUE,
    AccountId INTEGER REFERENCES PhoneAccount(Id) ON DELETE SET NULL,
    StripDigits INTEGER UNSIGNED NOT NULL DEFAULT 0,
    AddPrefix VARCHAR(32) NOT NULL DEFAULT '',
    IsEmergency INTEGER NOT NULL DEFAULT 0
);
INSERT INTO CallRule VALUES(0,'',NULL,0,'',0);
INSERT INTO CallRule VALUES(1,'112',1,0,'',1);
INSERT INTO CallRule VALUES(2,'00',1,2,'+',0);
INSERT INTO CallRule VALUES(3,'0',1,1,'+49',0);
CREATE TABLE CallBlock (
    Id INTEGER PRIMARY KEY,
    Number VARCHAR(32) NOT NULL UNIQUE,
    IsOutgoing INTEGER NOT NULL DEFAULT 0,
    Reason TEXT NOT NULL DEFAULT ''
);
INSERT INTO CallBlock VALUES(0,'',0,'');
INSERT INTO CallBlock VALUES(1,'anonymous',0,'no number shown');
INSERT INTO CallBlock VALUES(2,'0900',1,'premium rate');
CREATE TABLE CallForward (
    Id INTEGER PRIMARY KEY,
    AccountId INTEGER NOT NULL REFERENCES PhoneAccount(Id) ON DELETE CASCADE,
    Condition VARCHAR(8) NOT NULL DEFAULT 'always' CHECK (Condition IN ('always', 'busy', 'noreply')),
    Target VARCHAR(32) NOT NULL DEFAULT '',
    DelaySeconds INTEGER UNSIGNED NOT NULL DEFAULT 20,
    UNIQUE (AccountId, Condition)
);
INSERT INTO CallForward VALUES(0,0,'always','',20);
INSERT INTO CallForward VALUES(1,2,'noreply','+4915112345678',25);
CREATE TABLE PhoneBook (
    Id INTEGER PRIMARY KEY,
    Name TEXT NOT NULL DEFAULT '',
    Number VARCHAR(32) NOT NULL DEFAULT '',
    SpeedDial INTEGER UNIQUE
);
INSERT INTO PhoneBook VALUES(0,'','',NULL);
INSERT INTO PhoneBook VALUES(1,'Jürgen O''Neil','+4930901820',1);
INSERT INTO PhoneBook VALUES(2,'Surgery','+4930901833',2);
INSERT INTO PhoneBook VALUES(3,'Noor (mobile)','+4915112345678',NULL);
CREATE TABLE CallLog (
    Id INTEGER PRIMARY KEY,
    LineId INTEGER REFERENCES PhoneLine(Id) ON DELETE SET NULL,
    Direction VARCHAR(3) NOT NULL CHECK (Direction IN ('in', 'out')),
    Number VARCHAR(32) NOT NULL DEFAULT '',
    StartedAt INTEGER UNSIGNED NOT NULL,
    DurationSeconds INTEGER UNSIGNED NOT NULL DEFAULT 0
);
INSERT INTO CallLog VALUES(1,1,'in','+4930901820',1699957200,412);
INSERT INTO CallLog VALUES(2,3,'out','+4930901833',1699961400,95);
INSERT INTO CallLog VALUES(3,1,'in','',1699980030,0);
CREATE INDEX CallLogStartedAt ON CallLog(StartedAt);
CREATE INDEX CallLogLineId ON CallLog(LineId);
CREATE INDEX CallRuleAccountId ON CallRule(AccountId);
CREATE INDEX PhoneAccountProviderId ON PhoneAccount(ProviderId);
CREATE INDEX PhoneLineAccountId ON PhoneLine(AccountId);
COMMIT;
