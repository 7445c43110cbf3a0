from zelmor.imaging import BuildVersionInfo

print(BuildVersionInfo.PRODUCT, BuildVersionInfo.ASSEMBLY_VERSION)
