PRAGMA foreign_keys=OFF;
BEGIN TRANSACTION;
CREATE TABLE SystemSettings (
    Id INTEGER PRIMARY KEY,
    HostName VARCHAR(63) NOT NULL DEFAULT 'gateway',
    Domain VARCHAR(255) NOT NULL DEFAULT 'home.arpa',
    SerialNumber VARCHAR(32) NOT NULL DEFAULT '',
    Location TEXT NOT NULL DEFAULT '',
    Language VARCHAR(5) NOT NULL DEFAULT 'en',
    AreaCode VARCHAR(2) NOT NULL DEFAULT '',
    FirstUseDone INTEGER NOT NULL DEFAULT 0
);
INSERT INTO SystemSettings VALUES(0,'gateway','home.arpa','','','en','',0);
INSERT INTO SystemSettings VALUES(1,'gateway','home.arpa','','Hallway','en','DE',1);
CREATE TABLE EtlMapping ( -- where the factory values of this device go
    Id INTEGER PRIMARY KEY,
    EtlValue TEXT NOT NULL,
    TargetTable TEXT NOT NULL,
    TargetColumn TEXT NOT NULL,
    KeyColumn TEXT NOT NULL,
    KeyValue TEXT NOT NULL,
    TargetColumnHash VARCHAR(16) NOT NULL DEFAULT 'NONE',
    KeyColumnHash VARCHAR(16) NOT NULL DEFAULT 'NONE'
);
INSERT INTO EtlMapping VALUES(1,'SERIAL_NUMBER','SystemSettings','SerialNumber','Id','1','','');
INSERT INTO EtlMapping VALUES(2,'WLAN_KEY','WlanNetwork','Passphrase','Name','home','NONE','HIDDEN');
INSERT INTO EtlMapping VALUES(3,'ADMIN_PASSWORD','UserAccount','PasswordHash','Name','admin','MCF_SHA512','HIDDEN');
INSERT INTO EtlMapping VALUES(4,'ACS_USERNAME','TR069ACS','Username','Id','1','NONE','NONE');
INSERT INTO EtlMapping VALUES(5,'ACS_PASSWORD','TR069ACS','Password','Id','1','NONE','HIDDEN');
CREATE TABLE ViewNames ( -- joined views: each row of Table2 with its partner in Table1
    Id INTEGER PRIMARY KEY,
    Name TEXT NOT NULL UNIQUE,
    Table1 TEXT NOT NULL,
    Col1 TEXT NOT NULL,
    Table2 TEXT NOT NULL,
    Col2 TEXT NOT NULL
);
INSERT INTO ViewNames VALUES(1,'PhoneLineView','PhoneAccount','Id','PhoneLine','AccountId');
INSERT INTO ViewNames VALUES(2,'UserAccountView','UserGroup','Id','UserAccount','GroupId');
INSERT INTO ViewNames VALUES(3,'StatusNetifWatchLogical','StatusNetifWatch','Name','InterfaceMapping','PhysicalName');
CREATE TABLE ViewColumns (
    Id INTEGER PRIMARY KEY,
    ColName TEXT NOT NULL,
    ViewNamesId INTEGER NOT NULL REFERENCES ViewNames(Id) ON DELETE CASCADE,
    SrcTableIndex INTEGER NOT NULL CHECK (SrcTableIndex IN (1, 2)),
    SrcCol TEXT NOT NULL,
    UNIQUE (ViewNamesId, ColName)
);
INSERT INTO ViewColumns VALUES(1,'Id',1,2,'Id');
INSERT INTO ViewColumns VALUES(2,'Line',1,2,'Name');
INSERT INTO ViewColumns VALUES(3,'Number',1,1,'Number');
INSERT INTO ViewColumns VALUES(4,'DisplayName',1,1,'DisplayName');
INSERT INTO ViewColumns VALUES(5,'Id',2,2,'Id');
INSERT INTO ViewColumns VALUES(6,'Name',2,2,'Name');
INSERT INTO ViewColumns VALUES(7,'GroupName',2,1,'Name');
INSERT INTO ViewColumns VALUES(8,'Rights',2,1,'Rights');
INSERT INTO ViewColumns VALUES(9,'Id',3,2,'Id');
INSERT INTO ViewColumns VALUES(10,'Name',3,2,'LogicalName');
INSERT INTO ViewColumns VALUES(11,'Interface',3,2,'PhysicalName');
INSERT INTO ViewColumns VALUES(12,'Addr',3,1,'Addr');
INSERT INTO ViewColumns VALUES(13,'IsUp',3,1,'IsUp');
CREATE TABLE UserGroup (
    Id INTEGER PRIMARY KEY,
    Name VARCHAR(32) NOT NULL UNIQUE,
    Rights INTEGER UNSIGNED NOT NULL DEFAULT 0
);
INSERT INTO UserGroup VALUES(0,'',0);
INSERT INTO UserGroup VALUES(1,'administrators',4294967295);
INSERT INTO UserGroup VALUES(2,'residents',255);
INSERT INTO UserGroup VALUES(3,'support',65536);
CREATE TABLE UserAccount (
    Id INTEGER PRIMARY KEY,
    Name VARCHAR(32) NOT NULL UNIQUE,
    GroupId INTEGER NOT NULL DEFAULT 0 REFERENCES UserGroup(Id),
    FullName TEXT NOT NULL DEFAULT '',
    PasswordHash TEXT NOT NULL DEFAULT '',
    IsEnabled INTEGER NOT NULL DEFAULT 1,
    LastLoginAt INTEGER UNSIGNED
);
INSERT INTO UserAccount VALUES(0,'',0,'','',0,NULL);
INSERT INTO UserAccount VALUES(1,'admin',1,'Administrator','',1,1700000120);
INSERT INTO UserAccount VALUES(2,'noor',2,'Noor Visser','',1,NULL);
INSERT INTO UserAccount VALUES(3,'support',3,'','',0,NULL);
CREATE TABLE NtpConfig (
    Id INTEGER PRIMARY KEY,
    IsEnabled INTEGER NOT NULL DEFAULT 1,
    ServesLan INTEGER NOT NULL DEFAULT 0,
    PollSeconds INTEGER UNSIGNED NOT NULL DEFAULT 1024
);
INSERT INTO NtpConfig VALUES(0,1,0,1024);
INSERT INTO NtpConfig VALUES(1,1,1,1024);
CREATE TABLE NtpServer (
    Id INTEGER PRIMARY KEY,
    Address VARCHAR(255) NOT NULL UNIQUE,
    Rank INTEGER NOT NULL DEFAULT 10
);
INSERT INTO NtpServer VALUES(0,'',10);
INSERT INTO NtpServer VALUES(1,'ntp1.example.net',10);
INSERT INTO NtpServer VALUES(2,'ntp2.example.net',20);
CREATE TABLE SyslogTarget (
    Id INTEGER PRIMARY KEY,
    Host VARCHAR(255) NOT NULL DEFAULT '',
    Port INTEGER NOT NULL DEFAULT 514 CHECK (Port BETWEEN 1 AND 65535),
    Protocol VARCHAR(3) NOT NULL DEFAULT 'udp' CHECK (Protocol IN ('udp', 'tcp')),
    Level INTEGER NOT NULL DEFAULT 113,
    IsEnabled INTEGER NOT NULL DEFAULT 0
);
INSERT INTO SyslogTarget VALUES(0,'',514,'udp',113,0);
CREATE TABLE LedConfig (
    Id INTEGER PRIMARY KEY,
    Name VARCHAR(16) NOT NULL UNIQUE,
    Brightness INTEGER NOT NULL DEFAULT 100 CHECK (Brightness BETWEEN 0 AND 100),
    NightOff INTEGER NOT NULL DEFAULT 0
);
INSERT INTO LedConfig VALUES(0,'',100,0);
INSERT INTO LedConfig VALUES(1,'power',80,0);
INSERT INTO LedConfig VALUES(2,'internet',80,1);
INSERT INTO LedConfig VALUES(3,'wlan',80,1);
INSERT INTO LedConfig VALUES(4,'phone',80,1);
CREATE TABLE UpdateConfig (
    Id INTEGER PRIMARY KEY,
    IsAutomatic INTEGER NOT NULL DEFAULT 1,
    Url TEXT NOT NULL DEFAULT '',
    WindowStart VARCHAR(5) NOT NULL DEFAULT '02:00',
    WindowEnd VARCHAR(5) NOT NULL DEFAULT '05:00',
    LastCheckAt INTEGER UNSIGNED
);
INSERT INTO UpdateConfig VALUES(0,1,'','02:00','05:00',NULL);
INSERT INTO UpdateConfig VALUES(1,1,'https://update.example.net/gateway/','02:30','04:30',1699996520);
CREATE INDEX UserAccountGroupId ON UserAccount(GroupId);
COMMIT;
