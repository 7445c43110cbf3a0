from datetime import datetime

from zelmor.imaging.xmp.schemas.xmpbaseschema import XmpBasicPackage

basic = XmpBasicPackage()
basic.set_created_date(datetime(2024, 5, 17, 12, 0))
basic.set_creator_tool("zelmor.imaging")
basic.set_rating(4)
print(basic.get_xml_value()[:60])
