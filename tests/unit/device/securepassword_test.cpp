#include "device/securepassword.h"

#include <gmock/gmock.h>

using zel::securepassword::EAlgorithm;
using zel::securepassword::Password;

TEST(SecurePassword, AGivenSaltGivesTheSameHashEverywhere)
{
    Password oPassword("Hello world!");
    EXPECT_TRUE(oPassword.updateWithContext({EAlgorithm::Md5, "$6$saltstring"}));
    EXPECT_EQ(oPassword.str(), "$6$saltstring$svn8UoSVapNtMuq1ukKS4tPQd8iKwSMHWjl/O817G3uBnIFNjnQJu"
                               "esI68u4OTLiBFdcbYEdFCoEOfaS35inz1");
}

TEST(SecurePassword, WhatCannotBeHashedLeavesNoHash)
{
    Password oPassword("seven gulls");
    EXPECT_TRUE(oPassword.updateWithContext({}));
    EXPECT_THAT(oPassword.str(), testing::StartsWith("$y$"));
    EXPECT_FALSE(oPassword.updateWithContext({EAlgorithm::Sha512, "$nonsense"}));
    EXPECT_EQ(oPassword.str(), "");

    for (const auto& sText : {std::string("cut\0off", 7), std::string(5000, 'x')}) {
        Password oOther(sText);
        EXPECT_FALSE(oOther.updateWithContext({EAlgorithm::Sha512, ""}));
        EXPECT_EQ(oOther.str(), "");
    }
}
