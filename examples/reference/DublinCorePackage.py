from zelmor.imaging.xmp.schemas.dublincore import DublinCorePackage

about = DublinCorePackage()
about.set_title("Harbor at dawn")
about.set_author(["One", "Another"])
about.set_subject(["harbor", "morning"])
print(about.get_xml_value()[:60])
