PRAGMA foreign_keys=OFF;
BEGIN TRANSACTION;
CREATE TABLE WebSettings (
    Id INTEGER PRIMARY KEY,
    Theme VARCHAR(16) NOT NULL DEFAULT 'light',
    SessionSeconds INTEGER UNSIGNED NOT NULL DEFAULT 900,
    MaxSessions INTEGER NOT NULL DEFAULT 5,
    IsExpertMode INTEGER NOT NULL DEFAULT 0
);
INSERT INTO WebSettings VALUES(0,'light',900,5,0);
INSERT INTO WebSettings VALUES(1,'light',900,5,1);
CREATE TABLE WebAccess (
    Id INTEGER PRIMARY KEY,
    Zone VARCHAR(16) NOT NULL,
    Protocol VARCHAR(5) NOT NULL DEFAULT 'https' CHECK (Protocol IN ('http', 'https')),
    Port INTEGER NOT NULL DEFAULT 443 CHECK (Port BETWEEN 1 AND 65535),
    IsEnabled INTEGER NOT NULL DEFAULT 0,
    UNIQUE (Zone, Port)
);
INSERT INTO WebAccess VALUES(0,'','https',443,0);
INSERT INTO WebAccess VALUES(1,'lan','http',80,1);
INSERT INTO WebAccess VALUES(2,'lan','https',443,1);
INSERT INTO WebAccess VALUES(3,'wan','https',8443,0);
CREATE TABLE WebPage (
    Id INTEGER PRIMARY KEY,
    ParentId INTEGER REFERENCES WebPage(Id) ON DELETE CASCADE,
    Path VARCHAR(64) NOT NULL UNIQUE,
    Title TEXT NOT NULL DEFAULT '',
    NeededRights INTEGER UNSIGNED NOT NULL DEFAULT 0
);
INSERT INTO WebPage VALUES(1,NULL,'/','Overview',0);
INSERT INTO WebPage VALUES(2,1,'/internet','Internet',1);
INSERT INTO WebPage VALUES(3,1,'/wlan','Wireless',2);
INSERT INTO WebPage VALUES(4,1,'/phone','Telephony',4);
INSERT INTO WebPage VALUES(5,4,'/phone/book','Phone book',4);
INSERT INTO WebPage VALUES(6,1,'/system','System',2147483648);
CREATE INDEX WebPageParentId ON WebPage(ParentId);
COMMIT;
