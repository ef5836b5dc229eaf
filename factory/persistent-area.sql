PRAGMA foreign_keys=OFF;
BEGIN TRANSACTION;
CREATE TABLE Area ( -- the countries this device may be sold to
    Id INTEGER PRIMARY KEY,
    Code VARCHAR(2) NOT NULL UNIQUE,
    Name TEXT NOT NULL DEFAULT '',
    DialCode VARCHAR(4) NOT NULL DEFAULT '',
    TimeZone TEXT NOT NULL DEFAULT 'UTC0',
    WlanDomain VARCHAR(2) NOT NULL DEFAULT '00'
);
INSERT INTO Area VALUES(0,'','','','UTC0','00');
INSERT INTO Area VALUES(1,'AT','Österreich','43','CET-1CEST,M3.5.0,M10.5.0/3','AT');
INSERT INTO Area VALUES(2,'DE','Deutschland','49','CET-1CEST,M3.5.0,M10.5.0/3','DE');
INSERT INTO Area VALUES(3,'NL','Nederland','31','CET-1CEST,M3.5.0,M10.5.0/3','NL');
INSERT INTO Area VALUES(4,'PT','Portugal','351','WET0WEST,M3.5.0/1,M10.5.0','PT');
CREATE TABLE AreaEmergencyNumber (
    Id INTEGER PRIMARY KEY,
    AreaId INTEGER NOT NULL REFERENCES Area(Id) ON DELETE CASCADE,
    Number VARCHAR(8) NOT NULL,
    UNIQUE (AreaId, Number)
);
INSERT INTO AreaEmergencyNumber VALUES(1,1,'112');
INSERT INTO AreaEmergencyNumber VALUES(2,1,'133');
INSERT INTO AreaEmergencyNumber VALUES(3,2,'110');
INSERT INTO AreaEmergencyNumber VALUES(4,2,'112');
INSERT INTO AreaEmergencyNumber VALUES(5,3,'112');
INSERT INTO AreaEmergencyNumber VALUES(6,4,'112');
COMMIT;
